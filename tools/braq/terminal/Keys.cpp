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
    case 'k': return Key::k;
    case 'l': return Key::l;
    case 'r': return Key::r;
    case 'n': return Key::n;
    case 'p': return Key::p;
    case 'q': return Key::q;
    case '?': return Key::questionMark;
    default: return std::nullopt;
    }
}

/// @param number which key that is, where the last character does not say it
std::optional<Key> numbered(std::string_view number) {
    if (number == "5") {
        return Key::pageUp;
    }
    if (number == "6") {
        return Key::pageDown;
    }
    if (number == "1" || number == "7") { // terminals differ
        return Key::home;
    }
    return number == "4" || number == "8" ? std::optional(Key::end) : std::nullopt;
}

/// @param sequence escape, bracket or O, and perhaps numbers: of the key, and of the ones that are held with it
std::optional<Key> named(std::string_view sequence, char last) {
    switch (last) {
    case 'A': return Key::up;
    case 'B': return Key::down;
    case 'C': return Key::right;
    case 'D': return Key::left;
    case 'H': return Key::home;
    case 'F': return Key::end;
    case '~': return numbered(sequence.substr(2, sequence.find(';') - 2));
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
            append(named(mSequence, next));
            mSequence.clear();
        }
    }
    return keys;
}
