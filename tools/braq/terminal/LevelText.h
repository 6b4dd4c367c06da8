#pragma once

#include <string>

/// Decibels to one decimal: "-12.3", and "-inf" for what is hardly there.
std::string levelText(double decibels);
