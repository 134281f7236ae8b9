#include "log/Time.h"

#include <array>
#include <cstdio>

namespace pdactl::log {

namespace {

constexpr Time Second = 1000;
constexpr Time Minute = 60 * Second;
constexpr Time Hour = 60 * Minute;
constexpr Time Day = 24 * Hour;

struct Calendar {
    int year = 0;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;
    int millisecond = 0;
};

bool isDigit(char character) {
    return character >= '0' && character <= '9';
}

/** Takes text apart by a pattern: digits stand for a number's places, everything else for itself. */
bool readNumbers(std::string_view text, std::string_view pattern, std::array<int*, 7> numbers) {
    if (text.size() < pattern.size()) {
        return false;
    }
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        if (!isDigit(pattern[i])) {
            if (text[i] != pattern[i]) {
                return false;
            }
            continue;
        }
        if (!isDigit(text[i])) {
            return false;
        }
        int& number = *numbers.at(static_cast<std::size_t>(pattern[i] - '0'));
        number = number * 10 + (text[i] - '0');
    }
    return true;
}

/** Days since 1970-01-01, in years that begin with March so that the leap day comes last. */
Time daysOf(const Calendar& date) {
    const Time year = date.month > 2 ? date.year : date.year - 1;
    const Time monthsSinceMarch = (date.month + 9) % 12;
    const Time dayOfYear = (153 * monthsSinceMarch + 2) / 5 + date.day - 1;
    return year * 365 + year / 4 - year / 100 + year / 400 + dayOfYear - 719468;
}

int daysIn(int year, int month) {
    constexpr std::array<int, 12> days{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool isLeap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return days.at(static_cast<std::size_t>(month - 1)) + (month == 2 && isLeap ? 1 : 0);
}

bool isValid(const Calendar& date) {
    constexpr int longestMinute = 60; // a leap second
    return date.month >= 1 && date.month <= 12 && date.day >= 1 &&
           date.day <= daysIn(date.year, date.month) && date.hour < 24 && date.minute < 60 &&
           date.second <= longestMinute;
}

std::optional<Time> read(std::string_view text, std::string_view pattern) {
    Calendar date;
    date.month = 0;
    date.day = 0;
    if (!readNumbers(text, pattern,
                     {&date.year, &date.month, &date.day, &date.hour, &date.minute, &date.second,
                      &date.millisecond}) ||
        !isValid(date)) {
        return {};
    }
    return daysOf(date) * Day + date.hour * Hour + date.minute * Minute + date.second * Second +
           date.millisecond;
}

Calendar calendarOf(Time time) {
    Time days = time / Day;
    Time rest = time % Day;
    if (rest < 0) {
        rest += Day;
        --days;
    }
    Calendar date;
    date.year = static_cast<int>(1970 + days / 366 - 1);
    while (daysOf({date.year + 1}) <= days) {
        ++date.year;
    }
    while (daysOf({date.year, date.month, 1}) + daysIn(date.year, date.month) <= days) {
        ++date.month;
    }
    date.day = static_cast<int>(days - daysOf({date.year, date.month, 1})) + 1;
    date.hour = static_cast<int>(rest / Hour);
    date.minute = static_cast<int>(rest % Hour / Minute);
    date.second = static_cast<int>(rest % Minute / Second);
    date.millisecond = static_cast<int>(rest % Second);
    return date;
}

/** With one decimal place. */
std::string inUnits(Time milliseconds, Time unit, const char* name) {
    const Time tenths = milliseconds * 10 / unit;
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " " + name;
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
    constexpr std::array<Form, 4> forms{
        {{"0000-11-22", Day},
         {"0000-11-22 33:44", Minute},
         {"0000-11-22 33:44:55", Second},
         {"0000-11-22 33:44:55.666", 1}},
    };
    std::string plain(text);
    constexpr std::size_t separator = 10;
    if (plain.size() > separator && plain[separator] == 'T') {
        plain[separator] = ' ';
    }
    for (const Form& form : forms) {
        if (plain.size() == form.pattern.size()) {
            if (const std::optional<Time> first = read(plain, form.pattern)) {
                return Moment{*first, *first + form.length - 1};
            }
        }
    }
    return {};
}

std::string formatTime(Time time, char separator) {
    const Calendar date = calendarOf(time);
    std::array<char, 96> text{};
    (void)std::snprintf(text.data(), text.size(), "%04d-%02d-%02d%c%02d:%02d:%02d.%03d", date.year,
                        date.month, date.day, separator, date.hour, date.minute, date.second,
                        date.millisecond);
    return text.data();
}

std::string formatDuration(Time milliseconds) {
    if (milliseconds >= 2 * Day) {
        return inUnits(milliseconds, Day, "d");
    }
    if (milliseconds >= 2 * Hour) {
        return inUnits(milliseconds, Hour, "h");
    }
    if (milliseconds >= 2 * Minute) {
        return inUnits(milliseconds, Minute, "min");
    }
    std::array<char, 48> text{};
    (void)std::snprintf(text.data(), text.size(), "%lld.%03lld s",
                        static_cast<long long>(milliseconds / Second),
                        static_cast<long long>(milliseconds % Second));
    return text.data();
}

} // namespace pdactl::log
