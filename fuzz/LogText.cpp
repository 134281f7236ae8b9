#include "Log.h"

#include <QJsonDocument>
#include <QRegularExpression>

using namespace pdactl::log;
using fuzz::require;

namespace {

void checkPieces(const std::string& log, std::size_t size, const std::vector<Entry>& whole) {
    EntryReader reader;
    std::vector<Entry> entries;
    const auto append = [&](const std::vector<Entry>& more) {
        entries.insert(entries.end(), more.begin(), more.end());
    };
    for (std::size_t at = 0; at < log.size(); at += size) {
        append(reader.feed(log.substr(at, size)));
    }
    append(reader.finish());
    require(entries.size() == whole.size() && fuzz::bytesOf(entries) == log,
            "pieces have the whole's entries");
    for (std::size_t i = 0; i < whole.size(); ++i) {
        require(entries[i].text == whole[i].text && entries[i].isWhole == whole[i].isWhole,
                "an entry does not depend on the pieces");
    }
}

/// Markup is the page's own, never a log's.
void checkPage(const std::string& page) {
    static const QRegularExpression foreign(
        QStringLiteral(
            R"(<(?!/?(html|head|meta|title|style|body|h1|h2|p|div|table|caption|thead|tbody|tr|th|td|dl|dt|dd|code|svg|desc|text|line|rect|path|section|main|details|summary|span|strong|ul|li|header|footer|!doctype)\b))"),
        QRegularExpression::CaseInsensitiveOption);
    const auto match = foreign.match(QString::fromStdString(page));
    require(!match.hasMatch(),
            "no tag of the page comes from the log: " + page.substr(match.hasMatch() ? 0 : page.size()));
}

} // namespace

/// Any bytes as a log.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::size_t piece = 1 + input.below(256);
    const std::string log = input.rest();
    std::vector<Entry> entries = readEntries(log);
    require(fuzz::bytesOf(entries) == log, "no byte of a log is lost");
    checkPieces(log, piece, entries);
    std::vector<Entry> redacted = entries;
    Redactor().redact(redacted);
    require(redacted.size() == entries.size(), "redaction keeps all entries");
    for (const std::vector<Entry>& each : {entries, redacted}) {
        const Report report = fuzz::reportOf(each);
        checkPage(htmlPage(report));
        require(QJsonDocument::fromJson(QByteArray::fromStdString(jsonOf(report))).isObject(),
                "the report is JSON");
        for (const Exchange& exchange : report.exchanges) {
            require(QJsonDocument::fromJson(QByteArray::fromStdString(jsonOf(exchange))).isObject(),
                    "an exchange is JSON");
            const std::string row = tableRow(exchange, false);
            require(row.find_first_of("\r\n\x1b") == row.size() - 1, "a row is one line");
        }
    }
    return 0;
}
