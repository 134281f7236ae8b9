#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace pdalink {

/// What the separators of a list of labels tell about it.
struct LabelCount {
    int labels; ///< separators + 1, also when the list ends in a separator; 0 for an empty list
    int stride; ///< position of the first separator, counted from 1; 0 when there is none
};

/// Counts the labels of a list, whose separators are ";" and the full-width one.
LabelCount countLabels(const QString& list);

/// The items of a host's list: every non-empty one that is followed by ";".
std::vector<QString> splitItems(const QByteArray& list);

/// The decimal number that the text begins with, after blanks and a sign, clamped to int; 0 when there is
/// none.
int leadingInteger(const QByteArray& text);

} // namespace pdalink
