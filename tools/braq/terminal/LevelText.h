#pragma once

#include <string>

/// Decibels to one decimal: "-12.3"; "-inf" for silence or almost silence.
std::string levelText(double decibels);
