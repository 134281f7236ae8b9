#pragma once

#include <ostream>

/// Meets each action with each fault that can hit it, and writes what a host gets then, with tabs in between:
/// kind of action, name, fault, outcome; nothing for a fault that cannot hit it.
/// Throws std::runtime_error where that is not as the model says, or where nothing works again afterwards.
void writeMatrix(std::ostream& out);
