#include "ChannelFixture.h"

#include "util/MutexGuard.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <iterator>
#include <memory>

using pdalink::test::waitUntil;

namespace {

std::string nameOfThread(int id) {
    const std::string path = "/proc/self/task/" + std::to_string(id) + "/comm";
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "r"), std::fclose);
    std::array<char, 32> name{};
    // A thread may be gone by now.
    return file != nullptr && std::fgets(name.data(), name.size(), file.get()) != nullptr ? name.data() : "";
}

/// The threads of the process without GLib's worker, which the test bed starts whenever it likes.
std::vector<int> threadIds() {
    std::vector<int> ids = pdalink::test::threadIds();
    const auto isWorker = [](int id) { return nameOfThread(id) == "gmain\n"; };
    ids.erase(std::remove_if(ids.begin(), ids.end(), isWorker), ids.end());
    return ids;
}

} // namespace

ChannelTest::ChannelTest() : ChannelTest(pdasim::SimulatedTerminal::Options()) {
}

ChannelTest::ChannelTest(pdasim::SimulatedTerminal::Options options)
    : m_terminal(std::move(options)), m_threadsBefore(threadIds()) {
    std::filesystem::remove_all(pdalink::test::privateDirectory() + "/log"); // a fresh one
    LoadLockConfig();
    newLogTexts();
}

ChannelTest::~ChannelTest() {
    waitUntil([this] {
        g_hidRun = false; // again: one that is still opening raises the flag
        return extraThreads() == 0;
    });
    g_HIDDevice.clearBuffer();
    g_isBufferCome = false;
}

void ChannelTest::openChannel() {
    g_HIDDevice.openHidDevice();
    ASSERT_TRUE(waitUntil([] { return g_hidRun.load(); }));
}

void ChannelTest::stopChannel() {
    g_hidRun = false;
    ASSERT_TRUE(extraThreadsBecome(0));
}

int ChannelTest::extraThreads() const {
    const std::vector<int> now = threadIds();
    return static_cast<int>(std::count_if(now.begin(), now.end(), [this](int id) {
        return !std::binary_search(m_threadsBefore.begin(), m_threadsBefore.end(), id);
    }));
}

bool ChannelTest::extraThreadsBecome(int count) const {
    return waitUntil([this, count] { return extraThreads() == count; });
}

int ChannelTest::receiverThread() const {
    const std::vector<int> now = threadIds();
    std::vector<int> fresh;
    std::set_difference(now.begin(), now.end(), m_threadsBefore.begin(), m_threadsBefore.end(),
                        std::back_inserter(fresh));
    return fresh.size() == 1 ? fresh.front() : 0;
}

QString ChannelTest::buffer() {
    const MutexGuard guard(g_lock_buffer);
    return QString(g_buffer.constData(), g_buffer.size()); // shares nothing with the receiver's thread
}

int ChannelTest::bufferedCharacters() {
    const MutexGuard guard(g_lock_buffer);
    return g_buffer.size();
}

void ChannelTest::setBuffer(const char* text) {
    const MutexGuard guard(g_lock_buffer);
    g_buffer = QString::fromUtf8(text);
}

bool ChannelTest::becomesBuffered(const QString& text) {
    return waitUntil([&text] { return buffer() == text; });
}

std::vector<std::string> ChannelTest::newLogTexts(int level) {
    const std::vector<pdalink::test::LogLine> log = pdalink::test::readLog();
    std::vector<std::string> texts;
    for (std::size_t i = m_linesSeen; i < log.size(); ++i) {
        if (level == 0 || log[i].level == level) {
            texts.push_back(log[i].text);
        }
    }
    m_linesSeen = log.size();
    return texts;
}
