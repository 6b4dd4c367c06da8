"""The program that uses all that headers declare does not link where a library lacks one of them."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

import declared_functions
from running import run

COMPILERS = {"c": os.environ["CC"], "c++": os.environ["CXX"]}
SUFFIXES = {"c": "c", "c++": "cpp"}

C_HEADER = """
#define EXPORT __attribute__((visibility("default")))
#ifdef __cplusplus
extern "C" {
#endif
typedef struct Record { int field; } Record;
typedef int (*Callback)(int);
EXPORT int first(void);
EXPORT int second(const Record* record, Callback callback, int (*other)(void)) __asm__("plain_second");
EXPORT extern const char key[];
static inline int inlined(void) { return first(); }
#ifdef __cplusplus
}
#endif
"""
C_SOURCE = """
#include <api.h>
int first(void) { return 1; }
int second(const Record* record, Callback callback, int (*other)(void)) { return record->field + callback(1) + other(); }
const char key[] = "key";
"""

CPP_HEADER = """
#define EXPORT [[gnu::visibility("default")]]
template <class Signature> struct Closure {
    template <class F> Closure(F);
};
struct EXPORT Text {
    Text(const char* characters) : first(characters) {}
    Text(const char* characters, int);
    const char* first;
};
namespace inner {
EXPORT void of_namespace(Closure<void(int, int)> closure = [](int, int) {});
}
EXPORT int overloaded(int number, Text text = {"a, b", 1});
EXPORT int overloaded(const char* text) noexcept;
EXPORT Text formatted(const char* format, ...);
inline int inlined(int number) { return number; }
template <class T> T generic(T value);
class Forward;
enum class Kind { one = 1, two };
constexpr int number = static_cast<int>(Kind::two);
struct EXPORT Interface {
    virtual ~Interface() = default;
    virtual void pure() = 0;
    virtual void withDefault();
};
class EXPORT Class : public Interface {
  public:
    struct Options {
        Options();
        int field{3};
    };
    explicit Class(const Options& options, int more = 3);
    Class(const Class&) = delete;
    ~Class() override;
    void pure() override;
    int get() const noexcept;
    int get();
    static Class* make(Kind kind);
    bool operator==(const Class& other) const;
    explicit operator bool() const;
    int inside() const { return mField; }
    static const int constant;

  protected:
    void forDerivedClasses();

  private:
    void nobodyCalls();
    int mField = 0;
};
"""
CPP_SOURCE = """
#include <api.h>
namespace inner { void of_namespace(Closure<void(int, int)>) {} }
Text::Text(const char* characters, int) : first(characters) {}
int overloaded(int number, Text) { return number; }
int overloaded(const char*) noexcept { return 0; }
Text formatted(const char* format, ...) { return format; }
void Interface::withDefault() {}
Class::Options::Options() {}
Class::Class(const Options&, int) {}
Class::~Class() {}
void Class::pure() {}
int Class::get() const noexcept { return mField; }
int Class::get() { return mField; }
Class* Class::make(Kind) { return nullptr; }
bool Class::operator==(const Class&) const { return true; }
Class::operator bool() const { return true; }
const int Class::constant = 3;
void Class::forDerivedClasses() {}
"""


class Library:
    """A library of one header and one source, in a folder of its own."""

    def __init__(self, folder, language, header, source):
        self.folder, self.language, self.compiler = Path(folder), language, COMPILERS[language]
        (self.folder / "api.h").write_text(header, encoding="utf-8")
        self.source = self.folder / f"library.{SUFFIXES[language]}"
        self.source.write_text(source, encoding="utf-8")
        run(self.compiler, "-fvisibility=hidden", "-fvisibility-inlines-hidden", "-fPIC", "-shared", "-I", folder, self.source,
            "-o", self.folder / "library.so")

    def declared(self):
        return declared_functions.declared(self.compiler, self.language, self.folder, ["api.h"])

    def link_program(self):
        """What the linker says about the program; nothing if all is there."""
        program = self.folder / f"program.{SUFFIXES[self.language]}"
        program.write_text(declared_functions.program(self.language, self.declared(), ["api.h"]), encoding="utf-8")
        standard = {"c": "-std=c11", "c++": "-std=c++20"}[self.language]
        run(self.compiler, standard, "-w", "-c", "-I", self.folder, program, "-o", self.folder / "program.o")
        return subprocess.run([self.compiler, self.folder / "program.o", self.folder / "library.so", "-o",
                               self.folder / "program"], check=False, capture_output=True, text=True).stderr


def library(language, header, source, test):
    folder = tempfile.TemporaryDirectory()
    test.addCleanup(folder.cleanup)
    return Library(folder.name, language, header, source)


class DeclaredFunctions(unittest.TestCase):
    def test_finds_what_a_header_in_c_declares(self):
        found = {one.name for one in library("c", C_HEADER, C_SOURCE, self).declared()}
        self.assertEqual(found, {"first", "second", "key"})

    def test_finds_functions_and_members_that_others_may_use(self):
        found = sorted(f"{one.owner}{one.name}" for one in library("c++", CPP_HEADER, CPP_SOURCE, self).declared())
        self.assertEqual(found, sorted([
            "Text::Text", "inner::of_namespace", "overloaded", "overloaded", "formatted", "Interface::withDefault", "Class::Options::Options",
            "Class::Class", "Class::~Class", "Class::pure", "Class::get", "Class::get", "Class::make", "Class::operator ==",
            "Class::operator bool", "Class::constant", "Class::forDerivedClasses"]))

    def test_the_program_links_where_all_is_there(self):
        self.assertEqual(library("c", C_HEADER, C_SOURCE, self).link_program(), "")
        self.assertEqual(library("c++", CPP_HEADER, CPP_SOURCE, self).link_program(), "")
        # Headers in C are headers in C++, too.
        self.assertEqual(library("c++", C_HEADER, C_SOURCE, self).link_program(), "")

    def test_the_program_does_not_link_where_a_function_is_hidden(self):
        for language in ("c", "c++"):
            for name, hidden in [("first", "EXPORT int first"), ("plain_second", "EXPORT int second"), ("key", "EXPORT extern")]:
                with self.subTest(language=language, name=name):
                    header = C_HEADER.replace(hidden, hidden.removeprefix("EXPORT "))
                    self.assertIn(f"`{name}'", library(language, header, C_SOURCE, self).link_program())

    def test_the_program_does_not_link_where_an_overload_or_a_class_is_hidden(self):
        for name, shown, hidden in [
                ("inner::of_namespace", "EXPORT void of_namespace", "void of_namespace"),
                ("overloaded(char const*)", "EXPORT int overloaded(const", "int overloaded(const"),
                ("overloaded(int,", "EXPORT int overloaded(int", "int overloaded(int"),
                ("formatted(char const*, ...)", "EXPORT Text", "Text"),
                ("Class::make(Kind)", "class EXPORT Class", "class Class"),
                ("Interface::withDefault()", "struct EXPORT Interface", "struct Interface")]:
            with self.subTest(name=name):
                self.assertIn(name, library("c++", CPP_HEADER.replace(shown, hidden), CPP_SOURCE, self).link_program())

    def test_the_program_does_not_link_where_a_member_is_not_defined(self):
        for line in CPP_SOURCE.splitlines():
            if line.startswith(("Class", "int Class", "void Class::for", "bool Class", "const int")) and "~" not in line:
                name = line.split("(")[0].split(" =")[0].removeprefix("const ").split(" ", 1)[-1]
                with self.subTest(name=name):
                    self.assertIn("Class::", library("c++", CPP_HEADER, CPP_SOURCE.replace(line, ""), self).link_program())


if __name__ == "__main__":
    unittest.main()
