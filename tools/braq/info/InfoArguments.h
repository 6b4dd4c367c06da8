#pragma once

#include "tools/braq/shared/Arguments.h"

/// Defines the options of the subcommand. Invalid ones are refused while the command line is parsed.
/// @return the function that runs it
Run addInfo(CLI::App& info);
