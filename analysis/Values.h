#pragma once

#include <QByteArray>
#include <QString>

#include <string>
#include <string_view>

namespace pdalink {

/// One input of a transaction, as the host passed it: a text, which is not copied and must outlive the call,
/// or a number.
class Input {
public:
    Input() noexcept = default;
    /// A NUL-terminated text; null counts as empty.
    Input(const char* text) noexcept
        : m_text(text != nullptr ? text : "") {} // NOLINT(google-explicit-constructor)
    /// A number, which is sent by its decimal digits; null counts as 0.
    Input(const int* number) noexcept // NOLINT(google-explicit-constructor)
        : Input(number != nullptr ? *number : 0) {}
    explicit Input(int number) noexcept : m_number(number) {}

    /// The bytes to be sent. Throws std::length_error for a text that is longer than a message can be.
    QByteArray bytes() const;

    /// The text as the host passed it; empty for a number.
    const char* text() const noexcept { return m_text != nullptr ? m_text : ""; }

private:
    const char* m_text = nullptr; // null: the number counts
    int m_number = 0;
};

/// A text for a response, in UTF-8. Of one that is too long for any response only the beginning is kept.
class ResultText {
public:
    static constexpr std::size_t kMax = 131072;

    /// Of the whole text.
    std::size_t size() const noexcept { return m_size; }
    bool isWhole() const noexcept { return m_size == m_beginning.size(); }
    QString toQString() const { return QString::fromStdString(m_beginning); }

    /// Copies the bytes over what is there, from `offset` on.
    void copyAt(std::size_t offset, std::string_view bytes);

private:
    std::string m_beginning;
    std::size_t m_size = 0;
};

/// Where one output of a transaction goes: into the buffer of a host that called the member directly, whose
/// size only the host knows, into a text of the dispatcher's, which grows as needed, or into a number.
class Output {
public:
    Output() noexcept = default;
    /// Null skips the output.
    Output(char* buffer) noexcept : m_buffer(buffer) {} // NOLINT(google-explicit-constructor)
    /// Null skips the output.
    Output(int* number) noexcept : m_number(number) {} // NOLINT(google-explicit-constructor)
    explicit Output(ResultText& text) noexcept : m_text(&text) {}

    /// Copies the bytes over what is there, from `offset` on, without a terminating NUL.
    void copyAt(std::size_t offset, std::string_view bytes) const;

    /// The same from the beginning on.
    void copy(const QByteArray& bytes) const { copyAt(0, {bytes.constData(), toSize(bytes)}); }

    /// Copies as many bytes of the text's UTF-8 form as it has characters: hosts size these by characters.
    void copyCharacters(const QString& text) const { copy(text.toUtf8().left(text.size())); }

    /// Copies the bytes, with a terminating NUL in a host's buffer.
    void copyTerminated(const QByteArray& bytes) const;

    /// Appends the bytes to the text that is there, with a terminating NUL in a host's buffer.
    void append(const QByteArray& bytes) const;

    void setNumber(int value) const {
        if (m_number != nullptr) {
            *m_number = value;
        }
    }

private:
    static std::size_t toSize(const QByteArray& bytes) { return static_cast<std::size_t>(bytes.size()); }
    void terminate(std::size_t length) const;

    char* m_buffer = nullptr;
    ResultText* m_text = nullptr;
    int* m_number = nullptr;
};

} // namespace pdalink
