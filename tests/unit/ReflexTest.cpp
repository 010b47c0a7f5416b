#include <gtest/gtest.h>

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "IpcDriverBase.h"
#include "IpcTcpSocketDriver.h"
#include "IpcUdpSocketDriver.h"
#include "Reflex.h"

namespace {

// A small family registered under keys that probe the prefix rules.
class CShape {
public:
    explicit CShape(const std::string& name) : m_strName(name) {}
    virtual ~CShape() = default;
    std::string m_strName;
};

template <const char* Name>
class CNamedShape : public CShape {
public:
    CNamedShape() : CShape(Name) {}
    static void* create() { return static_cast<CShape*>(new CNamedShape()); }
};

char kCircle[] = "Shape.circle";
char kSquare[] = "Shape.square";
char kShapes[] = "Shapes";
char kSh[] = "Sh";
char kLower[] = "shape.lower";
char kOther[] = "Other.x";

void* createNothing()
{
    return nullptr;
}

CReflexRegister<CShape> g_regSquare(kSquare, &CNamedShape<kSquare>::create);
CReflexRegister<CShape> g_regCircle(kCircle, &CNamedShape<kCircle>::create);
CReflexRegister<CShape> g_regShapes(kShapes, &CNamedShape<kShapes>::create);
CReflexRegister<CShape> g_regSh(kSh, &CNamedShape<kSh>::create);
CReflexRegister<CShape> g_regLower(kLower, &CNamedShape<kLower>::create);
CReflexRegister<CShape> g_regOther(kOther, &CNamedShape<kOther>::create);
CReflexRegister<CShape> g_regNull("Shape.empty", &createNothing);
CReflexRegister<CShape> g_regNoKey(nullptr, &CNamedShape<kOther>::create);

// Creates everything under prefix, owns it, and returns the names in order.
std::vector<std::string> namesFor(const std::string& prefix)
{
    std::list<CShape*> created;
    CReflex<CShape>::create(prefix, created);
    std::vector<std::string> names;
    for (CShape* shape : created) {
        names.push_back(shape->m_strName);
        delete shape;
    }
    return names;
}

using Names = std::vector<std::string>;

TEST(Reflex, PrefixMatchesOnlyExactLeadingBytes)
{
    // "Shape.empty" matches too, but its creator yields nothing.
    EXPECT_EQ(namesFor("Shape."), (Names{"Shape.circle", "Shape.square"}));
    EXPECT_EQ(namesFor("Shape.circle"), (Names{"Shape.circle"}));
    EXPECT_EQ(namesFor("Shape"), (Names{"Shape.circle", "Shape.square", "Shapes"}));
    EXPECT_EQ(namesFor("shape."), (Names{"shape.lower"}));
    EXPECT_TRUE(namesFor("SHAPE.").empty());
    // Longer than every key it would otherwise match.
    EXPECT_TRUE(namesFor("Shape.circle.big").empty());
    EXPECT_TRUE(namesFor("Shx").empty());
}

TEST(Reflex, EmptyPrefixYieldsEveryKeyInByteOrder)
{
    // Upper case before lower case; "Shape." before "Shapes" ('.' < 's').
    EXPECT_EQ(namesFor(""), (Names{"Other.x", "Sh", "Shape.circle", "Shape.square", "Shapes", "shape.lower"}));
}

TEST(Reflex, NoMatchLeavesOutputUntouchedAndEachCallCreatesFreshObjects)
{
    CShape keep("keep");
    std::list<CShape*> out{&keep};
    CReflex<CShape>::create("Nothing.", out);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out.front(), &keep);

    CReflex<CShape>::create("Shape.circle", out);
    CReflex<CShape>::create("Shape.circle", out);
    ASSERT_EQ(out.size(), 3u);
    CShape* first = *std::next(out.begin());
    CShape* second = out.back();
    EXPECT_NE(first, second);
    delete first;
    delete second;
}

class CCounter {
public:
    explicit CCounter(int value) : m_iValue(value) {}
    int m_iValue;
};

void* createOne()
{
    return new CCounter(1);
}

void* createTwo()
{
    return new CCounter(2);
}

TEST(Reflex, SecondRegistrationUnderOneKeyReplacesTheFirst)
{
    CReflex<CCounter>::registerCreator("Counter.x", &createOne);
    CReflex<CCounter>::registerCreator("Counter.x", &createTwo);
    CReflex<CCounter>::registerCreator(nullptr, &createOne);
    EXPECT_EQ(CReflex<CCounter>::findCreator("Counter.x"), &createTwo);
    EXPECT_EQ(CReflex<CCounter>::findCreator("Counter."), nullptr);

    std::list<CCounter*> out;
    CReflex<CCounter>::create("", out);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out.front()->m_iValue, 2);
    delete out.front();
}

class CNeverRegistered {
};

TEST(Reflex, CreateOnAnEmptyRegistryYieldsNothing)
{
    std::list<CNeverRegistered*> out;
    CReflex<CNeverRegistered>::create("", out);
    EXPECT_TRUE(out.empty());
}

TEST(Reflex, DriverPrefixYieldsTcpThenUdpSingletons)
{
    std::list<CIpcDriverBase*> drivers;
    CReflex<CIpcDriverBase>::create("IpcEventHandle", drivers);
    ASSERT_EQ(drivers.size(), 2u);
    EXPECT_EQ(drivers.front()->getDriverType(), 1);
    EXPECT_EQ(drivers.back()->getDriverType(), 2);
    // The creators hand out the one instance of each driver; nothing to free.
    EXPECT_EQ(drivers.front(), static_cast<CIpcDriverBase*>(CIpcTcpSocketDriver::getInstance()));
    EXPECT_EQ(drivers.back(), static_cast<CIpcDriverBase*>(CIpcUdpSocketDriver::getInstance()));
}

}
