#include "analysis/Lists.h"

#include "util/Util.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

namespace pdalink {

LabelCount countLabels(const QString& list) {
    constexpr QChar fullWidthSemicolon(0xFF1B);
    int separators = 0;
    int first = 0;
    for (int i = 0; i < list.size(); ++i) {
        if (list[i] == QLatin1Char(';') || list[i] == fullWidthSemicolon) {
            ++separators;
            first = first != 0 ? first : i + 1;
        }
    }
    return {list.isEmpty() ? 0 : separators + 1, first};
}

std::vector<QString> splitItems(const QByteArray& list) {
    std::vector<QString> items;
    CUtil::plitStr(QString::fromUtf8(list), QStringLiteral(";"), items);
    return items;
}

int leadingInteger(const QByteArray& text) {
    constexpr long lowest = std::numeric_limits<int>::min();
    constexpr long highest = std::numeric_limits<int>::max();
    return static_cast<int>(std::clamp(std::strtol(text.constData(), nullptr, 10), lowest, highest));
}

} // namespace pdalink
