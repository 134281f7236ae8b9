#pragma once

#include "Descriptors.h"
#include "PrivateDirectory.h"
#include "ProcessFacts.h"
#include "SimulatedTerminal.h"

#include "device/HIDDevice.h"
#include "util/FileLog.h"
#include "util/LockConfig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QString>
#include <chrono>
#include <ostream>
#include <string>
#include <vector>

/// How long a wait for a reply takes when none comes, and when one is there.
constexpr std::chrono::milliseconds kSilentWait(4900);
constexpr std::chrono::milliseconds kPromptWait(110);

/// Lets failures show texts readably.
inline void PrintTo(const QString& text, std::ostream* stream) {
    *stream << '"' << text.toStdString() << '"';
}

/// The channel, still closed, and a device that is to be found by it. What is sent need not be a message of
/// the protocol.
class ChannelTest : public testing::Test {
protected:
    using Milliseconds = std::chrono::milliseconds;

    ChannelTest();
    explicit ChannelTest(pdasim::SimulatedTerminal::Options options);
    /// Stops the receiver.
    ~ChannelTest() override;

    pdasim::SimulatedTerminal& terminal() { return m_terminal; }

    void openChannel();
    /// Stops the receiver as any code of a host can, and waits until it has closed the node.
    void stopChannel();

    /// How many threads there are more than before the channel was opened.
    int extraThreads() const;
    /// Waits until there are `count`: one that has been joined stays visible for a moment.
    bool extraThreadsBecome(int count) const;
    /// The only thread more than before; 0 if there is none or more than one.
    int receiverThread() const;

    /// What nobody has taken yet.
    static QString buffer();
    static int bufferedCharacters();
    static void setBuffer(const char* text);
    /// Waits until the receiver has appended what makes the buffer hold the text.
    static bool becomesBuffered(const QString& text);
    static bool becomesBuffered(const char* text) { return becomesBuffered(QString::fromUtf8(text)); }

    /// The texts logged since the last call of this.
    std::vector<std::string> newLogTexts(int level = 0);

    /// Runs something and gives how long it took.
    template <typename Action>
    static Milliseconds timeOf(Action action) {
        const auto begin = std::chrono::steady_clock::now();
        action();
        return std::chrono::duration_cast<Milliseconds>(std::chrono::steady_clock::now() - begin);
    }

private:
    pdasim::SimulatedTerminal m_terminal;
    std::vector<int> m_threadsBefore;
    std::size_t m_linesSeen = 0;
};
