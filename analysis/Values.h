#pragma once

#include <QByteArray>
#include <QVarLengthArray>

#include <string>

/// One input of a transaction, as the host passed it: a text, which is not copied and must outlive the call,
/// or a number.
class Input {
public:
    Input() noexcept = default;
    /// A NUL-terminated text; null counts as empty.
    Input(const char* text) noexcept
        : m_text(text != nullptr ? text : "") {} // NOLINT(google-explicit-constructor)
    /// A number, which is sent by its decimal digits; null counts as 0.
    Input(const int* number) noexcept
        : m_number(number != nullptr ? *number : 0) // NOLINT(google-explicit-constructor)
    {}

    /// The bytes to be sent. Throws std::length_error for a text that is longer than a message can be.
    QByteArray bytes() const;

private:
    const char* m_text = nullptr; // null: the number counts
    int m_number = 0;
};

/// Where one text output of a transaction goes: into the buffer of a host that called the member directly,
/// whose size only the host knows, or into a text of the dispatcher's, which grows as needed.
class TextOut {
public:
    TextOut() noexcept = default;
    /// Null skips the output.
    TextOut(char* buffer) noexcept : m_buffer(buffer) {} // NOLINT(google-explicit-constructor)
    explicit TextOut(std::string& text) noexcept : m_text(&text) {}

    /// Copies the bytes over the beginning of what is there, without a terminating NUL.
    void copy(const QByteArray& bytes) const;

private:
    char* m_buffer = nullptr;
    std::string* m_text = nullptr;
};

// Both lists live on the stack, so that gathering a member's parameters cannot fail.
using Inputs = QVarLengthArray<Input, 12>;

/// The outputs of a transaction: its texts and its numbers, each in the order of its parameters.
struct Outputs {
    QVarLengthArray<TextOut, 23> texts;
    QVarLengthArray<int*, 2> numbers;
};
