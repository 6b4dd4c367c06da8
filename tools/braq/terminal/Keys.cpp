#include "tools/braq/terminal/Keys.h"

#include <optional>

namespace {

constexpr char escape = '\x1b';

std::optional<Key> character(char typed) {
    switch (typed) {
    case ' ': return Key::space;
    case '+':
    case '=': return Key::plus; // shares its key with plus
    case '-': return Key::minus;
    case 'r': return Key::r;
    case 'n': return Key::n;
    case 'p': return Key::p;
    case 'q': return Key::q;
    case '?': return Key::questionMark;
    default: return std::nullopt;
    }
}

std::optional<Key> arrow(char last) {
    switch (last) {
    case 'A': return Key::up;
    case 'B': return Key::down;
    case 'C': return Key::right;
    case 'D': return Key::left;
    default: return std::nullopt;
    }
}

bool endsSequence(char typed) { return typed >= '@' && typed <= '~'; }

} // namespace

std::vector<Key> Keys::add(std::string_view typed) {
    std::vector<Key> keys;
    const auto append = [&](const std::optional<Key>& key) {
        if (key) {
            keys.push_back(*key);
        }
    };
    for (const char next : typed) {
        if (next == escape) {
            mSequence = escape;
        } else if (mSequence.empty()) {
            append(character(next));
        } else if (mSequence.size() == 1 && next != '[' && next != 'O') {
            mSequence.clear(); // that was the escape key alone
            append(character(next));
        } else if (mSequence.size() == 1 || !endsSequence(next)) {
            mSequence += next;
        } else {
            append(arrow(next));
            mSequence.clear();
        }
    }
    return keys;
}
