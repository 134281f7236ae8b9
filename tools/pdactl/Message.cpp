#include "Message.h"

#include "Values.h"

#include <pdalink/util/Util.h>

#include <QJsonDocument>
#include <QTextCodec>

#include <algorithm>
#include <iostream>
#include <iterator>

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

std::string checkOf(const std::string& packet) {
    const std::size_t length = static_cast<std::size_t>(QString::fromStdString(packet).size()) / 2;
    std::vector<unsigned char> bytes(length);
    (void)CUtil::str_to_hex(packet.c_str(), bytes.data(), static_cast<int>(2 * length));
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
    std::size_t characters = 0;
    const auto end = std::find_if(text.begin(), text.end(), [&](char byte) {
        characters += charactersBegunBy(byte);
        return characters > kPacketCharacters;
    });
    const std::string packet(text.begin(), end);
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

/// The body of the message that asks locks to open.
void addOperations(Message& message, const Transaction& transaction, const Values& values) {
    const std::vector<Parameter>& parameters = transaction.parameters; // how many locks, then their lists
    message.add(parameters.front().tag, values.at(parameters.front().name));
    const QStringList actions = split(values.at("actions"));
    for (int i = 0; i < actions.size(); ++i) {
        message.open("LockList");
        for (auto each = std::next(parameters.begin()); each != parameters.end(); ++each) {
            const bool isLeftOut = each->isSecret() && actions[i] != kOpenWithCode;
            message.add(each->tag, isLeftOut ? "" : split(values.at(each->name))[i].toStdString());
        }
        message.close("LockList");
    }
}

} // namespace

Message::Message(const std::string& type, Content content)
    : m_content(content), m_text(QString::fromStdString(type) + QLatin1String(kConstantHeader)) {
    add("Ex_TrTime", CUtil::getCurrentTimes().toStdString());
    add("Ex_SeqNo", kFirstSequenceNumber);
}

void Message::add(const char* tag, std::string_view value) {
    const auto size = static_cast<int>(value.size());
    const QString text = m_content == Content::Bytes ? QString::fromLatin1(value.data(), size)
                                                     : QString::fromUtf8(value.data(), size);
    open(tag);
    if (!secretName(tag).empty()) {
        m_secrets.emplace_back(m_text.size(), text.size());
    }
    m_text += text;
    close(tag);
}

QString Message::text() const {
    return QString::asprintf("%0*d", kLengthDigits, m_text.size() + kLengthDigits) + m_text;
}

QString Message::masked() const {
    QString masked = text();
    for (const auto& [begin, size] : m_secrets) {
        masked.replace(kLengthDigits + begin, size, QString(size, '*'));
    }
    return masked;
}

QByteArray Message::toBytes(const QString& text) const {
    return m_content == Content::Bytes ? text.toLatin1() : text.toLocal8Bit();
}

Message messageOf(const Transaction& transaction, const Values& values) {
    const bool isBytes = std::any_of(transaction.parameters.begin(), transaction.parameters.end(),
                                     [](const Parameter& each) { return each.kind == Kind::Gbk; });
    Message message(transaction.type, isBytes ? Message::Content::Bytes : Message::Content::Text);
    if (opensLocks(transaction)) {
        addOperations(message, transaction, values);
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

bool isToBeSent(const Message& message, const Settings& settings) {
    const int size = message.toBytes(message.text()).size();
    if (size > kMaxBytes) {
        throw Failure(BadUsage, "The message would have " + std::to_string(size) +
                                    " bytes, and a terminal takes " + std::to_string(kMaxBytes) +
                                    " at most. Give fewer or shorter values.");
    }
    if (settings.isDryRun && settings.asJson) {
        const QJsonObject object{{"exitCode", Success}, {"wouldSend", message.masked()}};
        std::cout << QJsonDocument(object).toJson().constData();
    } else if (settings.isDryRun) {
        std::cout << message.toBytes(message.masked()).toStdString() << '\n';
    }
    return !settings.isDryRun;
}

} // namespace pdactl
