#pragma once

#include <string>
#include <string_view>
#include <vector>

/// What a user presses. A character key has its character's name.
enum class Key { space, left, right, up, down, plus, minus, r, n, p, q, questionMark };

/// Finds keys in what a terminal sends for them.
class Keys {
  public:
    /// @return the keys that are complete now; others than those of `Key` are left out
    std::vector<Key> add(std::string_view typed);

  private:
    std::string mSequence; // of a key that is not complete: escape and what followed it
};
