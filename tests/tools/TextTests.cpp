#include "tools/braq/shared/Table.h"
#include "tools/braq/shared/Text.h"

#include <gtest/gtest.h>

TEST(Tool_Text, ThatCanBePrintedStaysAsItIs) {
    for (const std::string text : {"", "Lautsprecher", "Gerät – groß", "スピーカー", "🔊 loud", "e\u0301"}) {
        EXPECT_EQ(printable(text), text);
    }
}

TEST(Tool_Text, ThatWouldActOnTheTerminalIsReplaced) {
    EXPECT_EQ(printable("\x1B[31mred"), "\uFFFD[31mred");
    EXPECT_EQ(printable("a\nb\tc\rd\be\x7F"), "a\uFFFDb\uFFFDc\uFFFDd\uFFFDe\uFFFD");
    EXPECT_EQ(printable(std::string("a\0b", 3)), "a\uFFFDb");
    EXPECT_EQ(printable("a\u009B0mb"), "a\uFFFD0mb") << "a control sequence in one character";
    const std::string turningAround = std::string("\xE2\x80") + "\xAE"; // U+202E
    EXPECT_EQ(printable("a" + turningAround + "b"), "a\uFFFDb") << "would turn around what follows";
}

TEST(Tool_Text, ThatIsNoUTF8IsReplacedByteByByte) {
    EXPECT_EQ(printable("a\xFF\xFE"), "a\uFFFD\uFFFD");
    EXPECT_EQ(printable("\xE2\x82"), "\uFFFD\uFFFD") << "cut off";
    EXPECT_EQ(printable("\xC3(b"), "\uFFFD(b");
}

TEST(Tool_Text, ForProgramsKeepsAllButWhatIsNoUTF8) {
    EXPECT_EQ(asUTF8("a\x1B\n\u009B0m"), "a\x1B\n\u009B0m");
    EXPECT_EQ(asUTF8("a\xFF\xC3"), "a\uFFFD\uFFFD");
    EXPECT_EQ(asUTF8(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(Tool_Text, TakesTheColumnsThatATerminalGivesIt) {
    EXPECT_EQ(columnsOf(""), 0U);
    EXPECT_EQ(columnsOf("abc"), 3U);
    EXPECT_EQ(columnsOf("Gerät"), 5U);
    EXPECT_EQ(columnsOf("e\u0301"), 1U) << "an accent of its own";
    EXPECT_EQ(columnsOf("スピ"), 4U);
    EXPECT_EQ(columnsOf("🔊"), 2U);
    EXPECT_EQ(columnsOf("\uFFFD"), 1U);
}

TEST(Tool_Table, AlignsWhatIsWrittenInAnyScript) {
    Table table({{"NAME"}, {"NUMBER", Table::Align::right}, {"LAST"}});
    table.addRow({"Gerät", "7", "x"});
    table.addRow({"スピーカー", "12345678", ""});
    table.addRow({"", "", "y"});
    EXPECT_EQ(table.text(), "NAME          NUMBER  LAST\n"
                            "Gerät              7  x\n"
                            "スピーカー  12345678\n"
                            "                      y\n");
}

TEST(Tool_Table, WithoutRowsHasItsTitles) { EXPECT_EQ(Table({{"ONE"}, {"TWO"}}).text(), "ONE  TWO\n"); }
