#pragma once

/// Marks what a host may use. Everything else in the library is hidden.
#define PDALINK_EXPORT __attribute__((visibility("default")))
