#pragma once

#include <BRAQAudio/BRAQAudio.h>

#include <exception>
#include <stdexcept>
#include <string>

/// A command line whose parts do not go together.
class WrongUsage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What is wrong with a file, in the words of its user.
std::string reasonOf(const NSError& error);

/// The same for what was raised.
std::string reasonOf(const std::exception& raised);
