#pragma once

#include <exception>
#include <stdexcept>
#include <string>

/// A command line with arguments that do not go together.
class WrongUsage : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// What went wrong, in words for users. Only inside a catch clause.
std::string reasonOfCaughtException();
