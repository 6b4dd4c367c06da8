#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <string>

/// Why a file cannot be opened or read, in words for users.
std::string problemOf(const NSError& error);
std::string problemOf(const NSException& raised);
