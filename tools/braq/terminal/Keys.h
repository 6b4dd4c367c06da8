#pragma once

#include <string>
#include <string_view>
#include <vector>

/// A key. A character key is named after its character.
enum class Key {
    space,
    left,
    right,
    up,
    down,
    pageUp,
    pageDown,
    home,
    end,
    plus,
    minus,
    k,
    l,
    r,
    n,
    p,
    q,
    questionMark
};

/// Decodes the keys in the characters that a terminal sends.
class Keys {
  public:
    /// @return the keys that are complete now; keys other than those of `Key` are ignored
    std::vector<Key> add(std::string_view typed);

  private:
    std::string mSequence; // of an incomplete key: escape and what followed it
};
