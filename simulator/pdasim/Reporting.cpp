#include "pdasim/Reporting.h"

#include "scenario/Scenario.h"

#include <iostream>
#include <stdexcept>
#include <system_error>

namespace pdasim {

namespace {

int fail(const std::exception& reason, ExitCode code) {
    std::cerr << "pdasim: " << reason.what() << std::endl;
    return code;
}

} // namespace

int reportingFailures(const std::function<int()>& action) {
    try {
        return action();
    } catch (const std::invalid_argument& mistake) {
        return fail(mistake, BadUsage);
    } catch (const ScenarioError& mistake) {
        return fail(mistake, BadScenario);
    } catch (const std::system_error& failure) {
        return fail(failure, CannotCreateFile);
    } catch (const std::exception& failure) {
        return fail(failure, CannotSimulate);
    }
}

void reportViolations(const std::vector<std::string>& violations) {
    for (const std::string& violation : violations) {
        std::cerr << "pdasim: protocol violated: " << violation << "\n";
    }
    std::cerr.flush();
}

} // namespace pdasim
