#include "Message.h"

#include "Failure.h"
#include "lock/Locks.h"

#include <pdalink/util/Util.h>

#include <QJsonDocument>
#include <QJsonObject>
#include <QTextCodec>

#include <algorithm>
#include <iostream>
#include <vector>

namespace pdactl {

namespace {

// Factory code, zeros, blanks and "05": the same in every message.
constexpr const char* kConstantHeader = "QEV   "
                                        "000000000000000000000000"
                                        "        "
                                        "05";
constexpr const char* kFirstSequenceNumber = "0001";
constexpr int kLengthDigits = 6;
constexpr int kMaxBytes = 16384; // that a hidraw node takes in one write
constexpr std::size_t kPacketCharacters = 3000;

/// How many characters, as a message's length counts them, begin with a byte of UTF-8 text.
std::size_t charactersBegunBy(char byte) {
    const auto bits = static_cast<unsigned char>(byte);
    return (bits & 0xC0U) == 0x80U ? 0 : bits >= 0xF0U ? 2 : 1;
}

/// The beginning of a text, of this many characters.
std::string_view firstCharacters(std::string_view text, std::size_t count) {
    std::size_t characters = 0;
    const auto end = std::find_if(text.begin(), text.end(), [&](char byte) {
        characters += charactersBegunBy(byte);
        return characters > count;
    });
    return text.substr(0, static_cast<std::size_t>(end - text.begin()));
}

std::string checkOf(std::string_view packet) {
    const std::string text(packet);
    const std::size_t length = static_cast<std::size_t>(QString::fromStdString(text).size()) / 2;
    std::vector<unsigned char> bytes(length);
    (void)CUtil::str_to_hex(text.c_str(), bytes.data(), static_cast<int>(2 * length));
    return QString::asprintf("%04x", static_cast<unsigned int>(CUtil::CRC16(length, bytes.data())))
        .toStdString();
}

/// The values that are followed by ";".
std::size_t itemsOf(const std::string& list) {
    std::vector<QString> items;
    CUtil::plitStr(QString::fromStdString(list), QStringLiteral(";"), items);
    return items.size();
}

/// The bytes of a text are taken for the characters of the same number.
QByteArray toGbk(const std::string& value) {
    const QTextCodec* const codec = QTextCodec::codecForName("GBK");
    if (codec == nullptr) {
        throw Failure(LocalFailure, "Qt has no text codec for GBK. Install one that has it.");
    }
    return codec->fromUnicode(QString::fromLatin1(value.data(), static_cast<int>(value.size())));
}

void addFirstPacket(Message& message, const char* tag, const std::string& text) {
    const std::string_view packet = firstCharacters(text, kPacketCharacters);
    message.add("Ex_TotalPkt", std::to_string(packetsOf(text)));
    message.add("Ex_CurPkt", "0");
    message.add(tag, packet);
    message.add("Ex_HexCheck", checkOf(packet));
}

void addParameter(Message& message, const Parameter& parameter, const std::string& value) {
    switch (parameter.kind) {
    case Kind::NotSent:
        break;
    case Kind::Items:
        message.add("Ex_Total", std::to_string(itemsOf(value)));
        message.add(parameter.tag, value);
        break;
    case Kind::Gbk:
        message.add(parameter.tag, toGbk(value).toStdString());
        break;
    case Kind::FileText:
        addFirstPacket(message, parameter.tag, value);
        break;
    default:
        message.add(parameter.tag, value);
    }
}

void print(const QString& masked, const QByteArray& bytes, bool asJson) {
    if (asJson) {
        const QJsonObject object{{"exitCode", Success}, {"wouldSend", masked}};
        std::cout << QJsonDocument(object).toJson().constData();
    } else {
        std::cout << bytes.toStdString() << '\n';
    }
}

} // namespace

Message::Message(const std::string& type, Content content)
    : m_content(content),
      m_text(QString::fromStdString(type) + QLatin1String(kConstantHeader)),
      m_masked(m_text) {
    add("Ex_TrTime", CUtil::getCurrentTimes().toStdString());
    add("Ex_SeqNo", kFirstSequenceNumber);
}

void Message::open(const char* tag) {
    const QString mark = '<' + QString(tag) + '>';
    m_text += mark;
    m_masked += mark;
}

void Message::close(const char* tag) {
    const QString mark = "</" + QString(tag) + '>';
    m_text += mark;
    m_masked += mark;
}

void Message::add(const char* tag, std::string_view value) {
    const auto size = static_cast<int>(value.size());
    const QString text = m_content == Content::Bytes ? QString::fromLatin1(value.data(), size)
                                                     : QString::fromUtf8(value.data(), size);
    open(tag);
    m_text += text;
    m_masked += secretName(tag).empty() ? text : QString(text.size(), '*');
    close(tag);
}

QByteArray Message::toBytes(const QString& text) const {
    return m_content == Content::Bytes ? text.toLatin1() : text.toLocal8Bit();
}

QString Message::withLength(const QString& text) {
    return QString::asprintf("%0*d", kLengthDigits, text.size() + kLengthDigits) + text;
}

Message messageOf(const Transaction& transaction, const Values& values) {
    const bool isBytes = std::any_of(transaction.parameters.begin(), transaction.parameters.end(),
                                     [](const Parameter& each) { return each.kind == Kind::Gbk; });
    Message message(transaction.type, isBytes ? Message::Content::Bytes : Message::Content::Text);
    if (opensLocks(transaction)) {
        addOperations(message, values);
        return message;
    }
    for (const Parameter& parameter : transaction.parameters) {
        addParameter(message, parameter, values.at(parameter.name));
    }
    if (transaction.results == Results::Fetch) {
        message.add("Ex_CurPkt", "0");
    }
    return message;
}

int packetsOf(std::string_view text) {
    std::size_t characters = 0;
    for (const char byte : text) {
        characters += charactersBegunBy(byte);
    }
    return static_cast<int>((characters + kPacketCharacters - 1) / kPacketCharacters);
}

bool isToBeSent(const Message& message, bool isDryRun, bool asJson) {
    const int size = message.toBytes(message.text()).size();
    if (size > kMaxBytes) {
        throw Failure(BadUsage, "The message would have " + std::to_string(size) +
                                    " bytes, and a terminal takes " + std::to_string(kMaxBytes) +
                                    " at most. Give fewer or shorter values.");
    }
    if (isDryRun) {
        print(message.masked(), message.toBytes(message.masked()), asJson);
    }
    return !isDryRun;
}

} // namespace pdactl
