#pragma once

#include <QSaveFile>

#include <sys/types.h>

#include <string>
#include <string_view>

namespace pdactl {

/// A file that appears under its name only when it is whole and on the disk.
///
/// Until then it has no name, or where the file system does not know such files, is a temporary file beside
/// its place, which goes again unless commit() is reached, also when a signal ends the program meanwhile. One
/// at a time.
class AtomicFile {
public:
    /// Throws a Failure when no file can be written there.
    explicit AtomicFile(const std::string& path);
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    ~AtomicFile();

    /// Takes permissions away that are not among these.
    void restrictTo(mode_t mode);
    void write(std::string_view bytes);
    void commit();

private:
    [[noreturn]] void fail(const QString& reason) const;

    QSaveFile m_file;
    std::string m_before; ///< what a signal was to remove
};

} // namespace pdactl
