#include "Fuzz.h"

#include "analysis/FilePackets.h"
#include "analysis/Lists.h"
#include "analysis/Response.h"
#include "util/MessageLength.h"
#include "util/Util.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>

#include <climits>
#include <vector>

// Each helper against code that does the same without any care for speed.

namespace {

using fuzz::require;

void checkTags(const std::string& text, const std::string& tag, std::size_t length) {
    const std::size_t begin = text.find("<" + tag + ">");
    const std::size_t end = text.find("</" + tag + ">");
    const std::size_t start = begin + tag.size() + 2;
    const bool exists = begin != std::string::npos && end < length && end >= start;
    QString value;
    std::string copy = text;
    std::string name = tag;
    require(CUtil::GetXMLValue(value, copy.data(), static_cast<int>(length), name.data()) == exists,
            "a tag is found where it is");
    require(value == (exists ? QString::fromStdString(text.substr(start, end - start)) : QString()),
            "a tag's value is what it encloses");
}

void checkLists(const std::string& text, const std::string& separator) {
    std::vector<QString> parts;
    CUtil::plitStr(QString::fromStdString(text), QString::fromStdString(separator), parts);
    QStringList expected;
    if (!separator.empty()) {
        expected = QString::fromStdString(text).split(QString::fromStdString(separator));
        expected.removeLast();
        expected.removeAll(QString());
    }
    require(parts == std::vector<QString>(expected.begin(), expected.end()), "a list has these parts");

    const QString list = QString::fromStdString(text);
    const QStringList labels = list.split(QRegularExpression(QStringLiteral("[;\uFF1B]")));
    const pdalink::LabelCount count = pdalink::countLabels(list);
    require(count.labels == (list.isEmpty() ? 0 : labels.size()), "labels are counted");
    require(count.stride == (labels.size() > 1 ? labels.front().size() + 1 : 0),
            "the stride is the first label's");
}

unsigned int naiveCrc(const std::string& bytes) {
    unsigned int crc = 0;
    for (const char each : bytes) {
        for (unsigned int bit = 128; bit != 0; bit /= 2) {
            const bool isOne = (static_cast<unsigned char>(each) & bit) != 0;
            const bool carry = crc >= 0x8000;
            crc = (crc * 2) % 0x10000 ^ (carry != isOne ? 0x1021U : 0);
        }
    }
    return crc;
}

int digitsBefore(const std::string& text, std::size_t end) {
    const std::size_t found = text.find_first_not_of("0123456789abcdefABCDEF");
    return static_cast<int>(std::min({found, text.size(), end}));
}

void checkHex(const std::string& bytes, const std::string& text, int length) {
    std::vector<unsigned char> data(bytes.begin(), bytes.end());
    require(CUtil::CRC16(data.size(), data.data()) == naiveCrc(bytes), "the checksum is right");
    std::vector<char> digits(2 * bytes.size() + 1);
    CUtil::hex_to_str(digits.data(), data.data(), static_cast<int>(data.size()));
    require(digits.data() == QByteArray::fromStdString(bytes).toHex(), "bytes become digits");
    std::vector<unsigned char> back((static_cast<std::size_t>(length) + 1) / 2);
    const int count = CUtil::str_to_hex(text.c_str(), back.data(), length);
    require(count == digitsBefore(text, 2 * back.size()) / 2, "digits are read in pairs");
    const QByteArray read = QByteArray::fromHex(QByteArray::fromStdString(text).left(2 * count));
    require(read == QByteArray(reinterpret_cast<const char*>(back.data()), count), "digits become bytes");
}

void checkNumbers(const std::string& text) {
    const QString message = QString::fromStdString(text);
    const bool hasLength = QRegularExpression(QStringLiteral("^[0-9]{6}")).match(message).hasMatch();
    require(pdalink::missingCharacters(message) ==
                (hasLength ? std::max(0, message.left(6).toInt() - message.size()) : 0),
            "what is missing is what the length says");
    const auto number =
        QRegularExpression(QStringLiteral("^[\\t-\\r ]*([+-]?[0-9]+)")).match(message).captured(1);
    const double value = number.toDouble();
    require(pdalink::leadingInteger(QByteArray::fromStdString(text)) ==
                static_cast<int>(value > INT_MAX   ? INT_MAX
                                 : value < INT_MIN ? INT_MIN
                                                   : value),
            "a text's number is read, within an int's limits");
    const QByteArray json = QJsonDocument(QJsonArray{message}).toJson(QJsonDocument::Compact);
    require(pdalink::writtenSize(message) + 4 == static_cast<std::size_t>(json.size()),
            "the size in JSON is known");
}

void checkPackets(const std::string& text) {
    const std::string repeated = text + text + text + text;
    const pdalink::FileText file(repeated.c_str());
    std::string joined;
    for (int i = 0; i < file.packets(); ++i) {
        const pdalink::FilePacket packet = file.packet(i);
        require(packet.characters <= 3000 && packet.bytes > 0, "a packet is not too long");
        joined.append(packet.text, packet.bytes);
    }
    require(joined == repeated, "a file's packets are the file");
}

/// As the helpers see a text.
std::string untilNul(const std::string& bytes) {
    return bytes.substr(0, bytes.find('\0'));
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto length = static_cast<int>(input.below(256));
    const std::string first = untilNul(input.line());
    const std::string bytes = input.rest();
    const std::string text = untilNul(bytes);
    checkTags(text, first, static_cast<std::size_t>(length));
    checkLists(text, first);
    checkHex(bytes, text, length);
    checkNumbers(text);
    checkPackets(text);
    return 0;
}
