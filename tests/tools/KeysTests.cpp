#include "tools/braq/terminal/Keys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(Keys, AreCharactersAndArrows) {
    Keys keys;
    EXPECT_THAT(keys.add(" +=-rnpq?"), ElementsAre(Key::space, Key::plus, Key::plus, Key::minus, Key::r, Key::n, Key::p,
                                                   Key::q, Key::questionMark));
    EXPECT_THAT(keys.add("\x1b[A\x1b[B\x1b[C\x1b[D"), ElementsAre(Key::up, Key::down, Key::right, Key::left));
    EXPECT_THAT(keys.add("\x1bOA\x1bOD"), ElementsAre(Key::up, Key::left)) << "as some terminals send them";
    EXPECT_THAT(keys.add("\x1b[1;5C"), ElementsAre(Key::right)) << "with the control key";
}

TEST(Keys, ArePagesAndEndsHoweverATerminalSendsThem) {
    Keys keys;
    EXPECT_THAT(keys.add("\x1b[5~\x1b[6~\x1b[5;5~"), ElementsAre(Key::pageUp, Key::pageDown, Key::pageUp));
    EXPECT_THAT(keys.add("\x1b[H\x1bOH\x1b[1~\x1b[7~\x1b[1;2H"),
                ElementsAre(Key::home, Key::home, Key::home, Key::home, Key::home));
    EXPECT_THAT(keys.add("\x1b[F\x1bOF\x1b[4~\x1b[8~"), ElementsAre(Key::end, Key::end, Key::end, Key::end));
}

TEST(Keys, MayComeInPieces) {
    Keys keys;
    EXPECT_THAT(keys.add("\x1b"), IsEmpty());
    EXPECT_THAT(keys.add("["), IsEmpty());
    EXPECT_THAT(keys.add("C "), ElementsAre(Key::right, Key::space));
}

TEST(Keys, TheEscapeKeyAloneDoesNotSwallowTheNextOne) {
    Keys keys;
    EXPECT_THAT(keys.add("\x1bq"), ElementsAre(Key::q));
    EXPECT_THAT(keys.add("\x1b\x1b[A"), ElementsAre(Key::up));
}

TEST(Keys, OthersAreLeftOut) {
    Keys keys;
    EXPECT_THAT(keys.add("klKL"), ElementsAre(Key::k, Key::l));
    EXPECT_THAT(keys.add("xQ\r\n\t\x7f"
                         "\x1b[3~\x1b[2~\x1b[15~\x1b[~\xc3\xa4"),
                IsEmpty());
    EXPECT_THAT(keys.add("q"), ElementsAre(Key::q)) << "and leave nothing behind";
}

} // namespace
