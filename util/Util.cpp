#include "util/Util.h"

#include "util/ForkSection.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <string_view>
#include <thread>

namespace {

bool endsWith(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

/// Where the first "<tag>" and the first "</tag>" begin.
struct TagPositions {
    std::size_t opening = std::string_view::npos;
    std::size_t closing = std::string_view::npos;
};

/// Both forms end in the name and ">": one pass over those finds both.
TagPositions findTag(const char* text, std::string_view tag) {
    constexpr auto npos = std::string_view::npos;
    const std::string end = std::string(tag) + '>';
    TagPositions found;
    const char* hit = std::strstr(text, end.c_str());
    while (hit != nullptr && (found.opening == npos || found.closing == npos)) {
        const std::string_view head(text, static_cast<std::size_t>(hit - text));
        if (found.closing == npos && endsWith(head, "</")) {
            found.closing = head.size() - 2;
        } else if (found.opening == npos && endsWith(head, "<")) {
            found.opening = head.size() - 1;
        }
        hit = std::strstr(hit + 1, end.c_str());
    }
    return found;
}

} // namespace

CUtil::CUtil() = default;

CUtil::~CUtil() = default;

bool CUtil::GetXMLValue(QString& value, char* text, int length, char* tag) {
    value.clear();
    if (text == nullptr || tag == nullptr || length <= 0) {
        return false;
    }
    const std::string_view name = tag;
    const TagPositions found = findTag(text, name);
    constexpr auto npos = std::string_view::npos;
    if (found.opening == npos || found.closing == npos || found.closing >= static_cast<std::size_t>(length)) {
        return false;
    }
    const std::size_t start = found.opening + name.size() + 2; // after "<name>"
    if (found.closing < start) {
        return false;
    }
    value = QString::fromUtf8(text + start, static_cast<int>(found.closing - start));
    return true;
}

void CUtil::MergeStr(QString& dst, QString& src) {
    dst += src;
}

void CUtil::MergeStr(std::string& dst, std::string& src) {
    dst += src;
}

// The signature is fixed by the exported name.
// NOLINTNEXTLINE(performance-unnecessary-value-param)
void CUtil::plitStr(QString text, QString separator, std::vector<QString>& parts) {
    if (separator.isEmpty()) {
        return;
    }
    int start = 0;
    for (int end = text.indexOf(separator); end >= 0; end = text.indexOf(separator, start)) {
        if (end > start) {
            parts.push_back(text.mid(start, end - start));
        }
        start = end + separator.size();
    }
}

void CUtil::removeEndChar(QString& text) {
    text.remove(QStringLiteral("0x"));
    text.remove(QLatin1Char('\r'));
    text.remove(QLatin1Char('\n'));
}

QString CUtil::getCurrentTimes() {
    const pdalink::ForkSection section;
    // QDateTime::toString would write the digits of the host's default locale.
    return QLocale::c().toString(QDateTime::currentDateTime(), QStringLiteral("yyyyMMddhhmmss"));
}

void CUtil::Delay_MSec(unsigned int ms) {
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::milliseconds maxSleep(10);
    constexpr std::chrono::milliseconds maxRound(100);
    const auto deadline = Clock::now() + std::chrono::milliseconds(ms);
    if (QAbstractEventDispatcher::instance() == nullptr) { // nothing in this thread could handle events
        std::this_thread::sleep_until(deadline);
        return;
    }
    for (auto now = Clock::now(); now < deadline; now = Clock::now()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - now);
        QCoreApplication::processEvents(QEventLoop::AllEvents,
                                        static_cast<int>(std::min(left, maxRound).count()));
        std::this_thread::sleep_until(std::min(deadline, Clock::now() + maxSleep));
    }
}

unsigned long long CUtil::GetTickCount() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<unsigned long long>(now.tv_sec) * 1000 +
           static_cast<unsigned long long>(now.tv_nsec) / 1000000;
}
