#include "file/TransferWatch.h"

#include "Host.h"

#include <pdalink/analysis/ResultStores.h>

#include <QString>

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace pdactl {

namespace {

constexpr int kLookEvery = 100; // milliseconds; the log's copies hold half a minute of packets

/// The file of the log's directory that this process has open.
std::string openLog() {
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path directory = fs::canonical(logDirectory(), error);
    for (const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd")) {
        const fs::path target = fs::read_symlink(entry.path(), error);
        if (!error && !directory.empty() && target.parent_path() == directory) {
            return target;
        }
    }
    throw Failure(LocalFailure, "The library cannot write its log in " + logDirectory() +
                                    ", and without it a packet that the terminal refuses would go unseen. "
                                    "Run 'pdactl doctor' to find out why.");
}

std::string refusals(const TransferRecord& record) {
    const std::string code = record.firstRefusal.empty() ? "no result code" : record.firstRefusal;
    return "The terminal refused " + std::to_string(record.refused) + " packet(s), the first with " + code;
}

constexpr int kBarWidth = 30;
constexpr double kPacketKilobytes = 1.5;
constexpr const char* kBackToBegin = "\r\033[K";

/// How many columns the terminal has that is standard error.
int screenWidth() {
    constexpr int kUsual = 80;
    winsize size{};
    if (::ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
        return size.ws_col;
    }
    const char* const columns = std::getenv("COLUMNS");
    const int width = columns != nullptr ? static_cast<int>(std::strtol(columns, nullptr, 10)) : 0;
    return width > 0 ? width : kUsual;
}

/// A bar of this width, followed by a blank; nothing when there is not enough room for it.
std::string bar(int width, double part) {
    constexpr int kMinWidth = 5;
    if (width < kMinWidth) {
        return {};
    }
    const auto filled = static_cast<std::size_t>(width * part);
    return "[" + std::string(filled, '#') + std::string(static_cast<std::size_t>(width) - filled, '.') + "] ";
}

/// What the line says after this many seconds, in this many columns at most.
std::string progressLine(const std::string& verb, int packets, int total, double seconds, int columns) {
    const double rate = seconds > 0 ? packets / seconds : 0;
    QString text = QString::asprintf("%.1f KB/s", rate * kPacketKilobytes);
    if (total <= 0) {
        text = QString::asprintf("%s  %d packets  ", verb.c_str(), packets) + text;
    } else {
        const double part = static_cast<double>(std::min(packets, total)) / total;
        text = QString::asprintf("%3.0f %%  ", 100 * part) + text + "  ";
        if (rate > 0) {
            const int left = static_cast<int>(std::min(total * (1 - part) / rate + 0.5, 359999.0));
            text += QString::asprintf("%d:%02d:%02d left", left / 3600, left / 60 % 60, left % 60);
        }
        constexpr int kSurroundings = 5; // two blanks, brackets and a blank
        const int room = columns - static_cast<int>(verb.size()) - text.size() - kSurroundings;
        text = QString::fromStdString(verb + "  " + bar(std::min(kBarWidth, room), part)) + text;
    }
    return text.left(std::max(columns, 0)).toStdString();
}

} // namespace

TransferWatch::TransferWatch(const Transaction& transaction, int packets)
    : m_direction(transaction.results),
      m_log(openLog(), log::FollowedLog::From::End),
      m_record(transaction.type),
      m_packets(packets),
      m_firstNumber(m_SeqNo),
      m_isWatched(::isatty(STDERR_FILENO) == 1) {
    QObject::connect(&m_timer, &QTimer::timeout, [this] { look(); });
    m_timer.start(kLookEvery);
}

/// Leaves an empty line for what is printed next.
TransferWatch::~TransferWatch() {
    if (m_isWatched) {
        (void)std::fputs(kBackToBegin, stderr);
    }
}

void TransferWatch::look() {
    const log::Growth growth = m_log.grow();
    m_isLogComplete = m_isLogComplete && !growth.hasGap;
    m_record.add(growth.bytes);
    showProgress(std::max(requests() - 1, 0)); // the last message has not been answered yet
}

void TransferWatch::showProgress(int packets) {
    if (packets == 0) {
        m_begin = Clock::now(); // opening the channel does not count
    }
    if (m_isWatched) {
        const std::chrono::duration<double> taken = Clock::now() - m_begin;
        const std::string line =
            progressLine(m_direction == Results::Send ? "sending" : "fetching", packets,
                         m_packets > 0 ? m_packets : m_record.total, taken.count(), screenWidth() - 1);
        (void)std::fprintf(stderr, "%s%s", kBackToBegin, line.c_str());
    }
}

int TransferWatch::requests() const {
    return m_SeqNo - m_firstNumber;
}

void TransferWatch::finish() {
    m_timer.stop();
    look();
    m_record.finish();
}

void TransferWatch::judge(Outcome& outcome, std::size_t characters) const {
    if (m_direction == Results::Send) {
        judgeSent(outcome);
    } else {
        judgeFetched(outcome, characters);
    }
}

/// A success counts only when the log confirms it.
void TransferWatch::judgeSent(Outcome& outcome) const {
    if (outcome.result != 0) {
        return;
    }
    if (m_record.refused > 0) {
        markIncomplete(outcome, refusals(m_record) + ", so the file is not whole there. Send it again.");
    } else if (!m_isLogComplete || m_record.accepted != m_packets) {
        markIncomplete(outcome, "The log shows " + std::to_string(m_record.accepted) +
                                    " packets taken instead of " + std::to_string(m_packets) +
                                    ". Send the file again, and see " + logPath() + ".");
    }
}

void TransferWatch::judgeFetched(Outcome& outcome, std::size_t characters) const {
    if (outcome.exitCode == NoReply && requests() > 0 && m_record.accepted == requests()) {
        markIncomplete(outcome,
                       "The terminal answered every time, but with packets that had come before or whose "
                       "check was wrong. Fetch the file again, and see " +
                           logPath() + ".");
    } else if (outcome.result != 0) {
        return;
    } else if (m_record.refused > 0 && m_record.accepted > 0) {
        markIncomplete(outcome, refusals(m_record) + ", after " + std::to_string(m_record.accepted) +
                                    " that came. Fetch the file again.");
    } else if (outcome.exitCode == Success && (!m_isLogComplete || !m_record.hasWhole(characters))) {
        markIncomplete(outcome,
                       "Packets are missing: the log does not show all " + std::to_string(m_record.total) +
                           " that the terminal announced. Fetch the file again, and see " + logPath() + ".");
    }
}

void markIncomplete(Outcome& outcome, const std::string& message) {
    outcome.exitCode = TransferRefused;
    outcome.message = message;
}

} // namespace pdactl
