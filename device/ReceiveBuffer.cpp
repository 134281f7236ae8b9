#include "device/ReceiveBuffer.h"

#include "device/ChannelState.h"
#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/MessageLength.h"
#include "util/MutexGuard.h"

#include <algorithm>
#include <cstring>

namespace pdalink {

namespace {

constexpr int kBufferLimit = 16 * 1024 * 1024; // characters

/// Length of a UTF-8 sequence by its first byte; 1 for what cannot begin a longer one.
int sequenceLength(unsigned char first) {
    if (first >= 0xF0 && first <= 0xF4) {
        return 4;
    }
    if (first >= 0xE0 && first <= 0xEF) {
        return 3;
    }
    return first >= 0xC2 && first <= 0xDF ? 2 : 1;
}

/// How many bytes at the end of `text` begin a UTF-8 sequence without finishing it.
int unfinishedBytes(const QByteArray& text) {
    for (int back = 1; back <= std::min(3, text.size()); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if ((byte & 0xC0U) != 0x80U) { // not a continuation byte: the last sequence begins here
            return sequenceLength(byte) > back ? back : 0;
        }
    }
    return 0;
}

} // namespace

void appendReport(const char* report, std::size_t size) {
    bool beginsDropping = false;
    {
        const MutexGuard guard(g_lock_buffer);
        QByteArray bytes = g_channel.heldBack + QByteArray(report, static_cast<int>(strnlen(report, size)));
        const int unfinished = unfinishedBytes(bytes);
        g_channel.heldBack = bytes.right(unfinished);
        bytes.chop(unfinished);
        const QString text = QString::fromUtf8(bytes);
        const int room = std::max(0, kBufferLimit - g_buffer.size());
        if (text.size() > room) {
            beginsDropping = !g_channel.isDropping;
            g_channel.isDropping = true;
        }
        g_buffer += text.leftRef(room);
        g_channel.lastReport = std::chrono::steady_clock::now();
        g_isBufferCome = true;
    }
    if (beginsDropping) {
        g_PDA_Log.AddLog(Warning, "receive buffer full, dropping what the terminal sends");
    }
}

void emptyBuffer() {
    const MutexGuard guard(g_lock_buffer);
    g_buffer.clear();
    g_channel.heldBack.clear();
    g_channel.isDropping = false;
}

QString takeBuffer() {
    const MutexGuard guard(g_lock_buffer);
    g_buffer += QString::fromUtf8(g_channel.heldBack); // nothing completed it: replacement characters
    // Not before that: what cannot be taken for lack of memory is still announced.
    g_isBufferCome = false;
    g_channel.heldBack.clear();
    g_channel.isDropping = false;
    QString taken;
    taken.swap(g_buffer);
    return taken;
}

bool awaitsMore(std::chrono::milliseconds pause) {
    const MutexGuard guard(g_lock_buffer);
    return missingCharacters(g_buffer) > 0 && std::chrono::steady_clock::now() - g_channel.lastReport < pause;
}

} // namespace pdalink
