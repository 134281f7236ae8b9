#pragma once

#include <QByteArray>

#include <csignal>
#include <string>
#include <vector>

namespace pdactl {

/// Signals still end the program from now on, but it leaves nothing half done. Signals that
/// are ignored, as under nohup, stay so. With `asJson` a document that names the signal takes the place of
/// the one that is not written any more.
void handleSignals(bool asJson);

/// The file that a signal is to remove; none for an empty text. Returns the one before it.
std::string setTemporaryFile(const std::string& path);

/// Where a signal is to write its document, as long as no other has been begun; nowhere for -1.
void setDocumentDescriptor(int descriptor);

/// What is still written when the library ends the program, and where to.
struct LastLine {
    int descriptor;
    QByteArray line;
};

/// As long as it lives, these lines are written should the library end the program, and the temporary file
/// is removed. There is one at a time.
class CallInProgress {
public:
    explicit CallInProgress(std::vector<LastLine> lines);
    CallInProgress(const CallInProgress&) = delete;
    CallInProgress& operator=(const CallInProgress&) = delete;
    ~CallInProgress();
};

/// Blocks SIGINT and SIGTERM as long as it lives, so that they end a loop instead of the program.
class BlockedSignals {
public:
    BlockedSignals();
    BlockedSignals(const BlockedSignals&) = delete;
    BlockedSignals& operator=(const BlockedSignals&) = delete;
    ~BlockedSignals();

    /// Whether one arrives within this time.
    bool arriveWithin(long milliseconds) const;

private:
    sigset_t m_signals{};
    sigset_t m_before{};
};

} // namespace pdactl
