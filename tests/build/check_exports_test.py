"""The check of exported names finds a name too many and a name too few."""

import unittest

import check_exports

DOCUMENTED = {"BGuardLock", "kBRAQKey", "NSError", "NSLog", "operator=="}
NODE = "OURS_0.2"
EXPORTED = """0000 A OURS_0.2
0000 T BGuardLock@@OURS_0.2
0001 R kBRAQKey@@OURS_0.2
0002 T NSError::description[abi:cxx11]() const@@OURS_0.2
0003 V vtable for NSError@@OURS_0.2
0004 V typeinfo for NSError@@OURS_0.2
0005 V typeinfo name for NSError@@OURS_0.2
0006 u guard variable for NSError::shared()::instance@@OURS_0.2
0007 T NSLog(std::__cxx11::basic_string<char> const&)@@OURS_0.2
0008 T operator==(NSError const&, NSError const&)@@OURS_0.2
"""


def problems(added="", documented=frozenset(DOCUMENTED)):
    return check_exports.compare(check_exports.exported_symbols(EXPORTED + added, NODE), documented, NODE)


class CheckExports(unittest.TestCase):
    def test_accepts_documented_names_with_what_belongs_to_a_class(self):
        self.assertEqual(problems(), [])

    def test_finds_what_is_exported_but_not_documented(self):
        for symbol in [
                "W std::vector<int, std::allocator<int> >::~vector()",
                "V typeinfo for std::exception",
                "V vtable for NSOther",
                "T NSErrors()",
                "T braq::helper(NSError const&)",
                "W void NSLog<int>(int)",
                "T BGuardLockAgain",
        ]:
            with self.subTest(symbol=symbol):
                self.assertEqual(problems(f"0009 {symbol}@@{NODE}\n"),
                                 [f"exported but not documented: {symbol.split(' ', 1)[1]}"])

    def test_finds_another_version_node_and_none(self):
        self.assertEqual(problems("0009 T NSLog(int)@@OURS_0.1\n"),
                         ["exported with the version node 'OURS_0.1': NSLog(int)"])
        self.assertEqual(problems("0009 T NSLog(int)\n"), ["exported with the version node '': NSLog(int)"])

    def test_finds_data_under_a_name_that_others_may_use(self):
        for kind in "RDB":
            self.assertEqual(problems(f"0009 {kind} NSDomain@@{NODE}\n", DOCUMENTED | {"NSDomain"}),
                             ["data of a name that is not ours: NSDomain"])

    def test_finds_what_is_documented_but_not_exported(self):
        self.assertEqual(problems(documented=DOCUMENTED | {"NSGone"}), ["documented but not exported: NSGone"])

    def test_reads_one_name_a_line_without_comments(self):
        self.assertEqual(check_exports.documented_names("# A title\n\nNSError\n  NSLog\n"), {"NSError", "NSLog"})


if __name__ == "__main__":
    unittest.main()
