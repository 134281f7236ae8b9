#pragma once

#include "Export.h"
#include "mutexlock.h"

#include <cstdio>

namespace pdalink {

/// Levels of log lines; any other number prints like Info.
enum LogLevel : long {
    Message = 1, ///< steps of transactions: "MESSAGE  : "
    Error = 2,   ///< "ERROR  : "
    Warning = 3, ///< what the library refused or dropped: "WARNING  : "
    Info = 4,    ///< traffic and device lines: "INFO     : "
};

} // namespace pdalink

/// A text log that is flushed line by line and rotated when it passes 500 KiB.
///
/// Every line is the local time with milliseconds, the level's word, the text and a line feed. The rotated
/// copies are the file's name with ".1" (newest) to ".5" appended. All members may be called from any
/// thread: a line is never split by another line or by a rotation.
class PDALINK_EXPORT CFileLog {
public:
    /// A log with no file open.
    CFileLog();
    /// Closes the file.
    ~CFileLog();
    CFileLog(const CFileLog&) = delete;
    CFileLog& operator=(const CFileLog&) = delete;

    /// Closes the open file, if any, and opens `path` for appending; it is created with mode 0640, narrowed
    /// by the umask. When it cannot be opened, the names "<base>_T1.log" to "<base>_T19.log" are tried, base
    /// being the path up to its last ".". What is not a regular file cannot be opened. Returns false, with
    /// the log closed, when none can be opened or when `path` is null or has 512 bytes or more.
    bool Open(const char* path);

    /// Closes the file; lines written from now on are dropped.
    void Close();

    /// Shifts the copies of the opened file: removes ".<count>", renames every ".<i>" to ".<i+1>" and the
    /// file itself to ".1". Missing files are skipped. Called by AddLog when the file is full.
    void Backup(int count);

    /// Writes one line of any length. A null text counts as empty. Returns false when no file is open, when
    /// the line could not be written, or when the file could not be opened again after a rotation. What was
    /// written of a line, on a full disk, is ended by a line feed before the next one.
    bool AddLog(long level, const char* text);

    /// Formats as printf does and writes the result as AddLog does. The result may have 102399 bytes at most:
    /// a longer one makes the process abort. Text of unknown length belongs into AddLog. Also returns
    /// false when there is no memory for the result.
    bool AddLogEx(long level, const char* format, ...) __attribute__((format(printf, 3, 4)));

private:
    bool openUnlocked(const char* path);
    bool tryOpen(const char* path);
    void closeUnlocked();
    void backupUnlocked(int count) const;
    bool rotateUnlocked();

    int m_isOpen = 0;
    long m_sizeLimitKiB = 500;
    int m_backupCount = 5;
    char m_fileName[512] = {};
    FILE* m_file = nullptr;
    cmutexlock m_lock;
};

/// The library's log. Opened at every call on "log/PDA.log" beside the library.
extern PDALINK_EXPORT CFileLog g_PDA_Log;
