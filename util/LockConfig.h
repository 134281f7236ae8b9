#pragma once

#include "Export.h"

#include <QString>

/// USB vendor and product id of the terminal, as PDAConfigure.ini stated them last; empty before that.
extern PDALINK_EXPORT QString g_Vid;
extern PDALINK_EXPORT QString g_Pid;

/// Does nothing. Its address tells in which file the library lies.
PDALINK_EXPORT void fun1();

/// Reads PDAConfigure.ini from the library's directory into g_Vid and g_Pid, creates the directory "log"
/// beside it (mode 0750) when it is missing, and opens "log/PDA.log" there. A library that was loaded by a
/// name beginning with "./" looks in the directory of the host's executable instead. Prints the library's
/// path, and in that case the executable's, to standard output.
///
/// Returns true when the configuration file could be opened; otherwise false, and the ids and the log stay as
/// they were. A directory or a FIFO in its place counts as a file that cannot be opened. Also false when
/// memory runs out.
PDALINK_EXPORT bool LoadLockConfig();
