#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The word that somebody may have meant who mistyped it: the one with the fewest letters that are missing, too many,
/// wrong or swapped with the next, of which there may be two and fewer than it has letters; or the only one that begins so.
/// @return nothing if none is near
std::optional<std::string> nearest(std::string_view typed, const std::vector<std::string>& words);
