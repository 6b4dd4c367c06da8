#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <exception>
#include <stdexcept>
#include <string>

/// A command line with arguments that do not go together.
class WrongUsage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What is wrong with a file, in words for users.
std::string reasonOf(const NSError& error);

/// The same for an exception.
std::string reasonOf(const std::exception& raised);
