#pragma once

#include "analysis/Transaction.h"

#include <QByteArray>
#include <QString>

#include <cstddef>
#include <string>
#include <vector>

namespace pdalink {

/// How many bytes a compact JSON document has for a text, without the quotes around it.
std::size_t writtenSize(const QString& text);

/// The response to a request: a JSON member for each output of the transaction.
///
/// It never outgrows a host's buffer. A value with which it would is left empty, and so are all outputs
/// after it. That is decided by the values' sizes: a response that is too large is never built.
class Response {
public:
    explicit Response(const Transaction& row);

    /// Where the transaction puts its results; valid as long as this.
    std::vector<Output> outputs();

    /// Empties what does not fit. Returns what is to be said about that; empty when everything fits.
    std::string limit();

    QByteArray json() const;

private:
    struct Value {
        const char* key;
        bool isNumber;
        ResultText text;
        int number = 0;
    };

    std::size_t emptySize() const;
    static std::size_t sizeOf(const Value& value);
    std::vector<Value>::iterator firstBeyondTheLimit();

    const char* m_code;
    std::vector<Value> m_values;
};

} // namespace pdalink
