#pragma once

#include "tools/braq/play/PlayCommand.h"
#include "tools/braq/record/RecordCommand.h"

#include <CLI/CLI.hpp>

/// Both have a subcommand read what it is asked for. What is written wrongly is refused when the command line is read.
void addPlayArguments(CLI::App& play, PlayOptions& options);
void addRecordArguments(CLI::App& record, RecordOptions& options);
