#pragma once

#include "analysis/Exchange.h"
#include "analysis/TransactionTable.h"

#include <array>
#include <cstddef>
#include <initializer_list>
#include <type_traits>

/// What the exported members are made of: each hands its parameters to the row of its transaction. That they
/// match the row's columns is checked when this is compiled.
namespace pdalink {

/// Inputs or outputs, and the types of the parameters that they come from.
template <typename Value, typename... Types>
struct Parameters {
    std::array<Value, sizeof...(Types)> values;
};

template <typename... Types>
Parameters<Input, Types...> in(Types*... values) {
    return {{values...}};
}

template <typename... Types>
Parameters<Output, Types...> out(Types*... values) {
    return {{values...}};
}

/// There is a parameter for each column, and an `int*` for a number.
template <typename Fields>
constexpr bool fits(const Fields& fields, std::initializer_list<bool> areNumbers) {
    if (fields.size() != areNumbers.size()) {
        return false;
    }
    const bool* isNumber = areNumbers.begin();
    for (const auto& field : fields) {
        if (field.isNumber() != *isNumber++) {
            return false;
        }
    }
    return true;
}

template <std::size_t row, typename... Inputs, typename... Outputs>
int call(const Parameters<Input, Inputs...>& inputs, const Parameters<Output, Outputs...>& outputs) {
    static_assert(fits(kTransactions[row].inputs, {std::is_same_v<Inputs, int>...}));
    static_assert(fits(kTransactions[row].outputs, {std::is_same_v<Outputs, int>...}));
    return run({kTransactions[row], inputs.values.data(), outputs.values.data()});
}

} // namespace pdalink
