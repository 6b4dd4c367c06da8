#include "library/src/ClassKind.h"

#include <gtest/gtest.h>

namespace {

struct Base {
    virtual ~Base() = default;
};
struct Derived : Base {};
struct Further : Derived {};
struct Other : Base {};
struct Beside {
    virtual ~Beside() = default;
};
struct OfTwo : Beside, Derived {};
struct Virtually : virtual Base {};
struct InPrivate : private Derived, public Beside {};

template <class One, class Two>
bool isKind() {
    return braq::isSameOrDerivedClass(typeid(One), typeid(Two));
}

} // namespace

TEST(ClassKind, IsThatOfTheClassItselfAndOfEachOfItsBases) {
    EXPECT_TRUE((isKind<Base, Base>()));
    EXPECT_TRUE((isKind<Derived, Base>()));
    EXPECT_TRUE((isKind<Further, Base>()));
    EXPECT_TRUE((isKind<Further, Derived>()));
    EXPECT_FALSE((isKind<Base, Derived>()));
    EXPECT_FALSE((isKind<Other, Derived>()));
    EXPECT_FALSE((isKind<Beside, Base>()));
}

TEST(ClassKind, KnowsEveryPublicBaseOfSeveral) {
    EXPECT_TRUE((isKind<OfTwo, Beside>()));
    EXPECT_TRUE((isKind<OfTwo, Derived>()));
    EXPECT_TRUE((isKind<OfTwo, Base>()));
    EXPECT_TRUE((isKind<Virtually, Base>()));
    EXPECT_TRUE((isKind<InPrivate, Beside>()));
    EXPECT_FALSE((isKind<InPrivate, Derived>()));
    EXPECT_FALSE((isKind<Derived, OfTwo>()));
}

TEST(ClassKind, OfAnObjectIsThatOfTheClassItWasMadeOf) {
    const Derived derived;
    const Further further;
    const Base& one = derived;
    const Base& two = further;
    EXPECT_TRUE(braq::isKindOfClassOf(one, two));
    EXPECT_FALSE(braq::isKindOfClassOf(two, one));
}
