#include "FieldTable.h"

#include "log/JsonText.h"

#include <QString>
#include <QStringList>

#include <algorithm>
#include <iostream>

namespace pdactl {

namespace {

using Row = std::vector<QString>;

bool isList(const Field& field) {
    return !field.value.empty() && field.value.back() == ';';
}

/** The terminal's values must not play with the screen, nor pass for lines of their own. */
QString shown(const std::string& value) {
    return QString::fromStdString(log::printable(value));
}

Row singleValue(const Field& field) {
    return {QString::fromStdString(field.name), shown(field.value)};
}

/** A field's name with its values below. */
QStringList column(const Field& list) {
    QStringList cells = shown(list.value).split(';');
    cells.removeLast(); // nothing is behind the last ";"
    cells.prepend(QString::fromStdString(list.name));
    return cells;
}

std::vector<Row> rowsOf(const std::vector<QStringList>& columns) {
    std::vector<Row> rows;
    for (std::size_t c = 0; c < columns.size(); ++c) {
        rows.resize(std::max(rows.size(), static_cast<std::size_t>(columns[c].size())), Row(columns.size()));
        for (int r = 0; r < columns[c].size(); ++r) {
            rows[static_cast<std::size_t>(r)][c] = columns[c].at(r);
        }
    }
    return rows;
}

std::vector<int> widthsOf(const std::vector<Row>& rows) {
    std::vector<int> widths;
    for (const Row& row : rows) {
        widths.resize(row.size());
        for (std::size_t c = 0; c < row.size(); ++c) {
            widths[c] = std::max(widths[c], row[c].size());
        }
    }
    return widths;
}

/** In columns two blanks apart. */
void printRows(const std::vector<Row>& rows) {
    const std::vector<int> widths = widthsOf(rows);
    for (const Row& row : rows) {
        QString line;
        for (std::size_t c = 0; c < row.size(); ++c) {
            line += row[c].leftJustified(widths[c] + 2);
        }
        while (line.endsWith(' ')) {
            line.chop(1);
        }
        std::cout << line.toStdString() << '\n';
    }
}

} // namespace

void printTable(const std::vector<Field>& fields) {
    std::vector<Row> singles;
    std::vector<QStringList> lists;
    for (const Field& field : fields) {
        if (isList(field)) {
            lists.push_back(column(field));
        } else {
            singles.push_back(singleValue(field));
        }
    }
    printRows(singles);
    if (!singles.empty() && !lists.empty()) {
        std::cout << '\n';
    }
    printRows(rowsOf(lists));
}

} // namespace pdactl
