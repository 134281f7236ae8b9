#include "log/LogFiles.h"

#include "AtomicFile.h"
#include "Failure.h"

#include <QFile>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <system_error>

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

/// The numbers of a log's files.
std::set<int> copiesOf(const std::string& base) {
    std::set<int> numbers;
    for (int number = 0; number <= kMaxCopies; ++number) {
        if (exists(copyName(base, number))) {
            numbers.insert(number);
        }
    }
    return numbers;
}

/// The logs of a directory: the usual one, and those that were written while that could not be.
std::vector<std::string> logsIn(const std::string& directory) {
    constexpr int kMaxOthers = 19;
    std::vector<std::string> names;
    for (int number = 0; number <= kMaxOthers; ++number) {
        const std::string suffix = number == 0 ? "" : "_T" + std::to_string(number);
        const std::string name = (fs::path(directory) / ("PDA" + suffix + ".log")).string();
        if (!copiesOf(name).empty()) {
            names.push_back(name);
        }
    }
    if (names.empty()) {
        throw Failure(LocalFailure, "There is no PDA.log in '" + directory +
                                        "'. The library writes it into the folder log beside itself, at its "
                                        "first call.");
    }
    return names;
}

/// Which files of which log a name means.
struct Named {
    std::string base;
    std::set<int> numbers;
};

std::vector<Named> namedBy(const std::string& name) {
    std::error_code error;
    std::vector<Named> found;
    if (fs::is_directory(name, error)) {
        for (const std::string& base : logsIn(name)) {
            found.push_back({base, copiesOf(base)});
        }
        return found;
    }
    const int number = copyNumber(name);
    if (number != 0 && exists(name)) {
        return {{name.substr(0, name.size() - 2), {number}}};
    }
    found.push_back({name, copiesOf(name)});
    if (number != 0 || found.front().numbers.empty()) {
        throw Failure(LocalFailure, "There is no '" + name +
                                        "'. The library writes its log as log/PDA.log beside itself; give "
                                        "that file or that folder.");
    }
    return found;
}

LogSet logSet(const Named& named) {
    LogSet log{named.base, {}, {}};
    for (int number = *named.numbers.rbegin(); number >= *named.numbers.begin(); --number) {
        const bool exists = named.numbers.count(number) != 0;
        const std::string name = copyName(named.base, number);
        log.files.push_back(exists ? name : std::string());
        if (!exists) {
            log.gaps.push_back(name + " is missing: what it held is not shown");
        }
    }
    return log;
}

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

int oldestCopy(const std::string& base) {
    const std::set<int> numbers = copiesOf(base);
    return numbers.empty() ? 0 : *numbers.rbegin();
}

std::vector<LogSet> findLogs(const std::vector<std::string>& names) {
    std::vector<Named> all;
    for (const std::string& name : names) {
        for (const Named& named : namedBy(name)) {
            const auto known = std::find_if(all.begin(), all.end(),
                                            [&](const Named& each) { return each.base == named.base; });
            if (known == all.end()) {
                all.push_back(named);
            } else {
                known->numbers.insert(named.numbers.begin(), named.numbers.end());
            }
        }
    }
    std::vector<LogSet> logs;
    std::transform(all.begin(), all.end(), std::back_inserter(logs), logSet);
    return logs;
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
