#include "log/LogFiles.h"

#include "AtomicFile.h"
#include "Failure.h"

#include <QFile>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <system_error>
#include <utility>

namespace pdactl::log {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void cannotRead(const QFile& file) {
    const std::string hint = file.error() == QFileDevice::PermissionsError
                                 ? " The log belongs to the user who runs the host; run pdactl as that user."
                                 : " Copy it to a place where it can be read, and give the copy.";
    throw Failure(LocalFailure, "Cannot read '" + file.fileName().toStdString() +
                                    "': " + file.errorString().toStdString() + "." + hint);
}

/// The number at the end of a copy's name; 0 for the log itself.
int copyNumber(const std::string& path) {
    const std::size_t length = path.size();
    const bool isCopy = length > 2 && path[length - 2] == '.' && path[length - 1] >= '1' &&
                        path[length - 1] <= '0' + kMaxCopies;
    return isCopy ? path[length - 1] - '0' : 0;
}

bool exists(const std::string& path) {
    std::error_code error;
    return fs::exists(path, error);
}

/// The logs of a directory: the usual one, and those that were written while that could not be.
std::vector<std::string> logsIn(const std::string& directory) {
    constexpr int kMaxOthers = 19;
    const std::string base = (fs::path(directory) / "PDA").string();
    std::vector<std::string> names{base + ".log"};
    for (int number = 1; number <= kMaxOthers; ++number) {
        names.push_back(base + "_T" + std::to_string(number) + ".log");
    }
    const auto isMissing = [](const std::string& name) {
        for (int number = 0; number <= kMaxCopies; ++number) {
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
        for (int number = 0; number <= kMaxCopies; ++number) {
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

/// Opens the files of a log; nothing for those that are missing. Nothing at all when one is renamed between
/// the first and the last opening.
std::optional<std::vector<std::unique_ptr<QFile>>> tryToOpen(const LogSet& log) {
    std::vector<std::unique_ptr<QFile>> files;
    for (const std::string& path : log.files) {
        files.push_back(path.empty() ? nullptr : std::make_unique<QFile>(QString::fromStdString(path)));
        if (files.back() != nullptr && !files.back()->open(QIODevice::ReadOnly)) {
            if (exists(path)) {
                cannotRead(*files.back());
            }
            return {};
        }
    }
    for (const std::unique_ptr<QFile>& file : files) {
        if (file != nullptr && !isNamed(*file, file->fileName().toStdString())) {
            return {};
        }
    }
    return files;
}

} // namespace

bool isNamed(const QFile& file, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    return ::fstat(file.handle(), &opened) == 0 && ::stat(path.c_str(), &named) == 0 &&
           opened.st_ino == named.st_ino && opened.st_dev == named.st_dev;
}

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

std::vector<std::string> readLog(const LogSet& log) {
    constexpr int kMaxAttempts = 10;
    for (int attempt = 0; attempt < kMaxAttempts; ++attempt) {
        const auto files = tryToOpen(log);
        if (!files) {
            continue;
        }
        std::vector<std::string> parts(1);
        for (const std::unique_ptr<QFile>& file : *files) {
            if (file == nullptr) {
                parts.emplace_back();
                continue;
            }
            parts.back() += file->readAll().toStdString();
            if (file->error() != QFileDevice::NoError) {
                cannotRead(*file);
            }
        }
        return parts;
    }
    throw Failure(LocalFailure,
                  "'" + log.base +
                      "' is rotated faster than it can be read. Try again when less is written.");
}

void writeWhole(const std::string& path, const std::string& bytes) {
    constexpr mode_t kModeOfLogs = 0640;
    AtomicFile file(path);
    file.restrictTo(kModeOfLogs);
    file.write(bytes);
    file.commit();
}

} // namespace pdactl::log
