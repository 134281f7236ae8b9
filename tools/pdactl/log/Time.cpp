#include "log/Time.h"

#include <QDateTime>

#include <array>

namespace pdactl::log {

namespace {

constexpr Time kSecond = 1000;
constexpr Time kMinute = 60 * kSecond;
constexpr Time kHour = 60 * kMinute;
constexpr Time kDay = 24 * kHour;

constexpr std::size_t kNumbers = 7; // year, month, day, hour, minute, second, millisecond

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/// Takes text apart by a pattern: digits stand for a number's places, everything else for itself.
std::optional<std::array<int, kNumbers>> readNumbers(std::string_view text, std::string_view pattern) {
    std::array<int, kNumbers> numbers{};
    if (text.size() < pattern.size()) {
        return {};
    }
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (isDigit(pattern[i]) ? !isDigit(text[i]) : text[i] != pattern[i]) {
            return {};
        }
        if (isDigit(pattern[i])) {
            int& number = numbers.at(static_cast<std::size_t>(pattern[i] - '0'));
            number = number * 10 + (text[i] - '0');
        }
    }
    return numbers;
}

std::optional<Time> read(std::string_view text, std::string_view pattern) {
    const std::optional<std::array<int, kNumbers>> numbers = readNumbers(text, pattern);
    if (!numbers) {
        return {};
    }
    const auto [year, month, day, hour, minute, second, millisecond] = *numbers;
    const QDate date(year, month, day);
    if (!date.isValid() || hour > 23 || minute > 59 || second > 60) { // 60 is a leap second
        return {};
    }
    return date.startOfDay(Qt::UTC).toMSecsSinceEpoch() + hour * kHour + minute * kMinute + second * kSecond +
           millisecond;
}

} // namespace

std::optional<Time> parseStamp(std::string_view text) {
    return read(text, "0000-11-22 33:44:55666 ");
}

std::optional<Moment> parseMoment(std::string_view text) {
    struct Form {
        std::string_view pattern;
        Time length;
    };
    constexpr std::array<Form, 4> kForms{
        {{"0000-11-22", kDay},
         {"0000-11-22 33:44", kMinute},
         {"0000-11-22 33:44:55", kSecond},
         {"0000-11-22 33:44:55.666", 1}},
    };
    constexpr std::size_t kSeparator = 10;
    std::string plain(text);
    if (plain.size() > kSeparator && plain[kSeparator] == 'T') {
        plain[kSeparator] = ' ';
    }
    for (const Form& form : kForms) {
        const std::optional<Time> first =
            plain.size() == form.pattern.size() ? read(plain, form.pattern) : std::nullopt;
        if (first) {
            return Moment{*first, *first + form.length - 1};
        }
    }
    return {};
}

std::string formatTime(Time time, char separator) {
    const QString pattern = QStringLiteral("yyyy-MM-dd'%1'HH:mm:ss.zzz").arg(separator);
    return QDateTime::fromMSecsSinceEpoch(time, Qt::UTC).toString(pattern).toStdString();
}

std::string formatDuration(Time milliseconds) {
    struct Unit {
        Time length;
        const char* name;
    };
    constexpr std::array<Unit, 3> kUnits{{{kDay, "d"}, {kHour, "h"}, {kMinute, "min"}}};
    const auto inUnits = [&](Unit unit, int decimals) {
        const double number = static_cast<double>(milliseconds) / static_cast<double>(unit.length);
        return QStringLiteral("%1 %2").arg(number, 0, 'f', decimals).arg(unit.name).toStdString();
    };
    for (const Unit& unit : kUnits) {
        if (milliseconds >= 2 * unit.length) {
            return inUnits(unit, 1);
        }
    }
    return inUnits({kSecond, "s"}, 3);
}

} // namespace pdactl::log
