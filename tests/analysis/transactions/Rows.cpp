#include "Row.h"

#include <algorithm>
#include <iterator>

const Family kTerminalFamily{0, 2, 0};
const Family kTellerFamily{1, -1, 1};
const Family kLockFamily{0, 2, 0};

namespace {

template <typename Condition>
std::vector<Row> rowsThat(const Condition& condition) {
    std::vector<Row> rows;
    std::copy_if(allRows().begin(), allRows().end(), std::back_inserter(rows), condition);
    return rows;
}

} // namespace

const std::vector<Row>& allRows() {
    static const std::vector<Row> rows = [] {
        std::vector<Row> all = terminalRows();
        for (const std::vector<Row>& more : {tellerRows(), lockRows(), loginRows()}) {
            all.insert(all.end(), more.begin(), more.end());
        }
        return all;
    }();
    return rows;
}

std::vector<Row> answeredRows() {
    return rowsThat([](const Row& row) { return row.waits > 0; });
}

std::vector<Row> jsonRows() {
    return rowsThat([](const Row& row) { return row.code != nullptr; });
}

std::vector<Row> rowsWithInputs() {
    return rowsThat([](const Row& row) { return !row.inputs.empty(); });
}
