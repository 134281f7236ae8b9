#include "scenario/JsonBuilder.h"

#include <cmath>
#include <limits>
#include <utility>

namespace pdasim {

namespace {

constexpr std::size_t MostLevels = 100;
/** Beyond it not every whole number has a value of its own. */
constexpr double LargestExact = 9007199254740992.0;

} // namespace

bool JsonBuilder::Uint64(std::uint64_t value) {
    return value > static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())
               ? add(Json::real(static_cast<double>(value)))
               : add(Json::integer(static_cast<std::int64_t>(value)));
}

bool JsonBuilder::Double(double value) {
    const bool isWhole = std::abs(value) <= LargestExact && std::trunc(value) == value;
    return add(isWhole ? Json::integer(static_cast<std::int64_t>(value)) : Json::real(value));
}

bool JsonBuilder::Key(const char* text, rapidjson::SizeType size, bool /*unused*/) {
    m_levels.back().name.assign(text, size);
    if (!m_levels.back().names.insert(m_levels.back().name).second) {
        return stop("\"" + m_levels.back().name + "\" is there twice");
    }
    return true;
}

bool JsonBuilder::open(Json value) {
    if (m_levels.size() == MostLevels) {
        return stop("more than " + std::to_string(MostLevels) + " brackets are open");
    }
    value.setLine(m_input.line());
    m_levels.push_back({std::move(value), {}, {}});
    return true;
}

bool JsonBuilder::close() {
    Json value = std::move(m_levels.back().value);
    m_levels.pop_back();
    return put(std::move(value));
}

bool JsonBuilder::add(Json value) {
    value.setLine(m_input.line());
    return put(std::move(value));
}

bool JsonBuilder::put(Json value) {
    if (m_levels.empty()) {
        m_root = std::move(value);
    } else if (m_levels.back().value.kind() == Json::Kind::Array) {
        m_levels.back().value.append(std::move(value));
    } else {
        m_levels.back().value.with(std::move(m_levels.back().name), std::move(value));
    }
    return true;
}

bool JsonBuilder::stop(std::string reason) {
    m_reason = std::move(reason);
    return false;
}

} // namespace pdasim
