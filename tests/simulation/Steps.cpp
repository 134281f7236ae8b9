#include "Steps.h"

#include "tests/analysis/received/HandlerTable.h"
#include "tests/analysis/transactions/Row.h"

#include <algorithm>
#include <iterator>
#include <random>
#include <sstream>
#include <stdexcept>

namespace {

/// std::uniform_int_distribution may draw differently with another C++ library.
class Draw {
public:
    explicit Draw(std::uint64_t seed) : m_random(seed) {}

    int between(int least, int most) {
        return least + static_cast<int>(m_random() % static_cast<unsigned>(most - least + 1));
    }
    bool oneIn(int count) { return between(1, count) == 1; }
    template <typename List>
    const auto& of(const List& list) {
        return *std::next(std::begin(list), between(0, static_cast<int>(std::size(list)) - 1));
    }

private:
    std::mt19937_64 m_random;
};

constexpr int kReports[] = {8, 20, 64, 64, 64, 64, 512, 1024, 4096};
constexpr int kGaps[] = {1, 1, 1, 1, 10, 10, 10, 60, 300};

bool isPlugging(const std::string& action) {
    return action == "plug" || action == "unplug";
}

bool isFetch(const std::string& action) {
    return action == "ReceiveDataSaveToFile";
}

bool isHandler(const std::string& action) {
    return action.rfind("Receive", 0) == 0 && !isFetch(action);
}

/// Which faults can hit an action.
bool fits(const std::string& fault, const std::string& action) {
    if (fault == "untaken") {
        return isHandler(action);
    }
    if (fault == "packet" || fault == "check") {
        return isFetch(action);
    }
    if (fault == "nomemory") { // not under the sanitizers, which allocate themselves
        return !PDALINK_IS_SANITIZED && action != "GetRandomNumber" && action != "GetLoginData";
    }
    return !isHandler(action) || (fault != "openerror" && fault != "slowopen");
}

void drawFault(Step& step, Draw& draw) {
    const FaultRow& fault = draw.of(kFaults);
    if (!fits(fault.name, step.action)) {
        return;
    }
    const bool hasMore = isFetch(step.action) || step.action == "ReadFileDataToPDA"; // messages than one
    step.fault = fault.name;
    step.amount = draw.between(fault.least, fault.most);
    step.message = hasMore ? draw.between(1, 4) : 1;
    step.times = draw.oneIn(3) ? draw.between(1, 4) : 1;
}

Step drawStep(Draw& draw) {
    Step step;
    step.action =
        draw.oneIn(12) ? actions()[draw.oneIn(2) ? 0 : 1] : draw.of(actions()); // files have the most to fail
    while (isPlugging(step.action) && !draw.oneIn(2)) {
        step.action = draw.of(actions());
    }
    step.seed = static_cast<std::uint32_t>(draw.between(1, 1000000));
    step.json = draw.oneIn(4) ? 0 : 1;
    step.report = draw.of(kReports);
    const int longest = draw.oneIn(100) ? 4700 : draw.oneIn(3) ? 30 : 8;
    step.delay = draw.between(0, longest);
    step.spacing = draw.oneIn(8) && step.report >= 64 ? 1 : 0;
    step.gap = draw.of(kGaps);
    if (isHandler(step.action) && draw.oneIn(8)) {
        step.fault = "untaken";
    } else if (draw.oneIn(12)) {
        drawFault(step, draw);
    }
    return step;
}

} // namespace

const std::vector<std::string>& actions() {
    static const std::vector<std::string> all = [] {
        std::vector<std::string> names{"ReadFileDataToPDA",
                                       "ReceiveDataSaveToFile",
                                       "GetRandomNumber",
                                       "GetLoginData",
                                       "unplug",
                                       "plug"};
        for (const Row& row : allRows()) {
            names.push_back(row.member);
        }
        for (const Handler& handler : allHandlers()) {
            names.emplace_back(handler.member);
        }
        return names;
    }();
    return all;
}

std::vector<Step> drawSteps(std::uint64_t seed, std::size_t count) {
    Draw draw(seed);
    std::vector<Step> steps;
    bool isPlugged = true;
    while (steps.size() < count) {
        steps.push_back(drawStep(draw));
        if (!isPlugged && draw.oneIn(2)) { // it is soon back
            steps.back().action = "plug";
        }
        isPlugged = steps.back().action == "plug" || (isPlugged && steps.back().action != "unplug");
    }
    return steps;
}

std::string lineOf(const Step& step) {
    std::string line = step.action + " seed=" + std::to_string(step.seed);
    line += step.fault == "none" ? "" : " fault=" + step.fault;
    std::vector<int> usual;
    Step other;
    forEachNumber(other, [&](const char* /*name*/, int& value) { usual.push_back(value); });
    std::size_t index = 0;
    other = step;
    forEachNumber(other, [&](const char* name, int& value) {
        line += value == usual[index++] ? "" : std::string(" ") + name + "=" + std::to_string(value);
    });
    return line;
}

Step stepOf(const std::string& line) {
    Step step;
    std::istringstream words(line);
    words >> step.action;
    const auto refuse = [&line] { throw std::invalid_argument("no step: " + line); };
    if (std::find(actions().begin(), actions().end(), step.action) == actions().end()) {
        refuse();
    }
    for (std::string word; words >> word;) {
        const std::string name = word.substr(0, word.find('='));
        const std::string value = word.substr(std::min(word.size(), name.size() + 1));
        bool isKnown = name == "fault" || name == "seed";
        (name == "fault" ? step.fault : word) = value;
        step.seed = name == "seed" ? static_cast<std::uint32_t>(std::stoul(value)) : step.seed;
        forEachNumber(step, [&](const char* member, int& number) {
            isKnown = isKnown || name == member;
            number = name == member ? std::stoi(value) : number;
        });
        if (!isKnown) {
            refuse();
        }
    }
    return step;
}
