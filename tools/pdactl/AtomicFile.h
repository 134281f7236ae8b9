#pragma once

#include <string>
#include <string_view>

namespace pdactl {

/**
 * A file that appears under its name only when it is whole.
 *
 * Written under a temporary name beside its place, which goes again unless commit() is reached, also when the
 * program is interrupted meanwhile. One at a time.
 */
class AtomicFile {
public:
    /** Throws a Failure when no file can be written there. */
    explicit AtomicFile(const std::string& path);
    AtomicFile(const AtomicFile&) = delete;
    AtomicFile& operator=(const AtomicFile&) = delete;
    ~AtomicFile();

    void write(std::string_view bytes);
    /** Puts the file, once it is on the disk, in its place. */
    void commit();

private:
    std::string m_path;
    std::string m_temporaryPath;
    int m_descriptor = -1;
};

} // namespace pdactl
