#pragma once

#include "../util/Export.h"

#include <QString>

/// The device node of the terminal: of all hidraw devices, the last one listed whose USB device carries the
/// ids `vid` and `pid` (four hexadecimal digits each, letter case ignored). Empty when there is none, and
/// when an id is empty.
///
/// Prints what it sees to standard output. Calls exit(1), after printing why, when udev
/// cannot be used or when a hidraw device has no USB parent: such a machine counts as broken.
PDALINK_EXPORT QString findUsbDevice(const QString& vid, const QString& pid);
