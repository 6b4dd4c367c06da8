#pragma once

#include "tools/braq/shared/Arguments.h"

/// Has the subcommand read what it is asked for. What is written wrongly is refused when the command line is read.
/// @return what then runs it
Run addMeter(CLI::App& meter);
