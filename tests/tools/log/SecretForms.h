#pragma once

#include <string>
#include <vector>

namespace pdactl::log::test {

/// Every planted secret contains this, and each part of it on which a mask could stop short does.
inline const std::string kPlanted = "S3CR3T";

/// The names whose values are secrets, written down anew.
const std::vector<std::string>& plantedNames();

/// A log in which a secret is under this name, in one form.
struct SecretForm {
    std::string form;
    std::string log;
};

/// The name's secret in every form in which a log may hold one.
std::vector<SecretForm> secretForms(const std::string& name);

} // namespace pdactl::log::test
