#include "core/Fault.h"

namespace pdasim {

Fault& Fault::dropTag(const std::string& name) {
    m_changes.emplace_back([name](Tags& reply) { pdasim::dropTag(reply, name); });
    return *this;
}

Fault& Fault::setTag(const std::string& name, const std::string& value) {
    m_changes.emplace_back([name, value](Tags& reply) { pdasim::setTag(reply, name, value); });
    return *this;
}

Fault& Fault::wrongCheck() {
    m_changes.emplace_back([](Tags& reply) {
        const Tag* check = findTag(reply, "Ex_HexCheck");
        if (check != nullptr && !check->value.empty()) {
            std::string wrong = check->value;
            wrong.back() = wrong.back() == '0' ? '1' : '0';
            pdasim::setTag(reply, "Ex_HexCheck", wrong);
        }
    });
    return *this;
}

} // namespace pdasim
