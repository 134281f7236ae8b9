#include "log/LogFiles.h"

#include "Failure.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace pdactl::log {

namespace {

namespace fs = std::filesystem;

/** As the log itself: narrowed by the umask, which can only be read by setting it. */
mode_t fileMode() {
    const mode_t mask = ::umask(0);
    (void)::umask(mask);
    return 0640 & ~mask;
}

[[noreturn]] void cannotRead(const std::string& path, int error) {
    const std::string hint = error == EACCES || error == EPERM
                                 ? " The log belongs to the user who runs the host; run pdactl as that user."
                                 : " Copy it to a place where it can be read, and give the copy.";
    throw Failure(LocalFailure,
                  "Cannot read '" + path + "': " + std::system_category().message(error) + "." + hint);
}

[[noreturn]] void cannotWrite(const std::string& path, int error) {
    throw Failure(LocalFailure, "Cannot write '" + path + "': " + std::system_category().message(error) +
                                    ". Choose a place where there is room and you may write.");
}

class Descriptor {
public:
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() {
        if (m_descriptor >= 0) {
            (void)::close(m_descriptor);
        }
    }

    int number() const { return m_descriptor; }

private:
    int m_descriptor;
};

std::string readAll(const Descriptor& file, const std::string& path) {
    std::string bytes;
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t count = ::read(file.number(), buffer.data(), buffer.size());
        if (count < 0 && errno != EINTR) {
            cannotRead(path, errno);
        }
        if (count == 0) {
            return bytes;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
}

/** The number behind a copy's name; 0 for the log itself. */
int copyNumber(const std::string& path) {
    const std::size_t length = path.size();
    const bool isCopy = length > 2 && path[length - 2] == '.' && path[length - 1] >= '1' &&
                        path[length - 1] <= '0' + MostCopies;
    return isCopy ? path[length - 1] - '0' : 0;
}

bool exists(const std::string& path) {
    std::error_code error;
    return fs::exists(path, error);
}

/** The logs of a directory: the usual one, and those that were written while that could not be. */
std::vector<std::string> logsIn(const std::string& directory) {
    constexpr int mostOthers = 19;
    const std::string base = (fs::path(directory) / "PDA").string();
    std::vector<std::string> names{base + ".log"};
    for (int number = 1; number <= mostOthers; ++number) {
        names.push_back(base + "_T" + std::to_string(number) + ".log");
    }
    const auto isMissing = [](const std::string& name) {
        for (int number = 0; number <= MostCopies; ++number) {
            if (exists(copyName(name, number))) {
                return false;
            }
        }
        return true;
    };
    names.erase(std::remove_if(names.begin(), names.end(), isMissing), names.end());
    if (names.empty()) {
        throw Failure(LocalFailure, "There is no PDA.log in '" + directory +
                                        "'. The library writes it into the folder log beside itself, at its "
                                        "first call.");
    }
    return names;
}

class Names {
public:
    void add(const std::string& name) {
        std::error_code error;
        if (fs::is_directory(name, error)) {
            for (const std::string& base : logsIn(name)) {
                addAll(base);
            }
        } else if (const int number = copyNumber(name); number != 0) {
            require(name);
            wanted(name.substr(0, name.size() - 2)).insert(number);
        } else {
            addAll(name);
        }
    }

    std::vector<LogSet> logs() const {
        std::vector<LogSet> result;
        for (const std::string& base : m_order) {
            LogSet set{base, {}, {}};
            const std::set<int>& numbers = m_wanted.at(base);
            const int newest = numbers.empty() ? 0 : *numbers.begin();
            const int oldest = numbers.empty() ? -1 : *numbers.rbegin();
            for (int number = oldest; number >= newest; --number) {
                if (numbers.count(number) != 0) {
                    set.files.push_back(copyName(base, number));
                } else {
                    set.gaps.push_back(copyName(base, number) + " is missing: what it held is not shown");
                    set.files.emplace_back();
                }
            }
            result.push_back(std::move(set));
        }
        return result;
    }

private:
    static void require(const std::string& name) {
        if (!exists(name)) {
            throw Failure(LocalFailure,
                          "There is no '" + name +
                              "'. The library writes its log as log/PDA.log beside itself; give "
                              "that file or that folder.");
        }
    }

    std::set<int>& wanted(const std::string& base) {
        if (m_wanted.count(base) == 0) {
            m_order.push_back(base);
        }
        return m_wanted[base];
    }

    void addAll(const std::string& base) {
        std::set<int> numbers;
        for (int number = 0; number <= MostCopies; ++number) {
            if (exists(copyName(base, number))) {
                numbers.insert(number);
            }
        }
        if (numbers.empty()) {
            require(base);
        }
        wanted(base).insert(numbers.begin(), numbers.end());
    }

    std::vector<std::string> m_order;
    std::map<std::string, std::set<int>> m_wanted;
};

/** Reads the files if none of them is renamed between the first and the last opening. */
std::optional<LogText> tryToRead(const LogSet& log) {
    std::vector<std::pair<std::string, std::optional<Descriptor>>> files;
    for (const std::string& path : log.files) {
        if (path.empty()) {
            files.emplace_back(path, std::nullopt);
            continue;
        }
        Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
        if (file.number() < 0) {
            if (errno == ENOENT) {
                return {};
            }
            cannotRead(path, errno);
        }
        files.emplace_back(path, std::move(file));
    }
    for (const auto& [path, file] : files) {
        struct stat opened {};
        struct stat named {};
        if (file && (::fstat(file->number(), &opened) != 0 || ::stat(path.c_str(), &named) != 0 ||
                     opened.st_ino != named.st_ino)) {
            return {};
        }
    }
    LogText text;
    text.parts.emplace_back();
    for (const auto& [path, file] : files) {
        if (file) {
            text.parts.back() += readAll(*file, path);
        } else {
            text.parts.emplace_back();
        }
    }
    return text;
}

} // namespace

std::string copyName(const std::string& base, int number) {
    return number == 0 ? base : base + "." + std::to_string(number);
}

std::vector<LogSet> findLogs(const std::vector<std::string>& names) {
    Names found;
    for (const std::string& name : names) {
        found.add(name);
    }
    return found.logs();
}

LogText readLog(const LogSet& log) {
    constexpr int mostAttempts = 10;
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        if (std::optional<LogText> text = tryToRead(log)) {
            return std::move(*text);
        }
    }
    throw Failure(LocalFailure,
                  "'" + log.base +
                      "' is rotated faster than it can be read. Try again when less is written.");
}

void writeWhole(const std::string& path, const std::string& bytes) {
    std::string temporary = path + ".XXXXXX";
    const Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (file.number() < 0) {
        cannotWrite(path, errno);
    }
    std::size_t written = 0;
    bool isWhole = ::fchmod(file.number(), fileMode()) == 0;
    while (isWhole && written < bytes.size()) {
        const ssize_t count = ::write(file.number(), bytes.data() + written, bytes.size() - written);
        isWhole = count >= 0 || errno == EINTR;
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
    }
    if (!isWhole || ::fsync(file.number()) != 0 || ::rename(temporary.c_str(), path.c_str()) != 0) {
        const int error = errno;
        (void)::unlink(temporary.c_str());
        cannotWrite(path, error);
    }
}

} // namespace pdactl::log
