#include "util/MessageLength.h"

#include <algorithm>

int pdalink::missingCharacters(const QString& message) {
    const QStringRef field = message.leftRef(kLengthDigits);
    const auto isDigit = [](QChar each) { return each >= QLatin1Char('0') && each <= QLatin1Char('9'); };
    if (field.size() < kLengthDigits || !std::all_of(field.begin(), field.end(), isDigit)) {
        return 0;
    }
    return std::max(0, field.toInt() - message.size());
}
