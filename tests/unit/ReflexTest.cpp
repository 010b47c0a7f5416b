

#include "IpcDriverBase.h"
#include "IpcTcpSocketDriver.h"
#include "IpcUdpSocketDriver.h"
#include "Reflex.h"
#include "UnitTest.h"

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

using Names = std::vector<std::string>;

TEST(Reflex, PrefixMatchesExactLeadingBytesInKeyOrder)
{
    // "Shape.empty" matches wherever "Shape." does, but its creator yields
    // nothing; the key-less registration never shows.
    const struct {
        const char* m_pszPrefix;
        Names m_vecNames;
    } cases[] = {
        // Upper case before lower case; "Shape." before "Shapes" ('.' < 's').
        {"", {"Other.x", "Sh", "Shape.circle", "Shape.square", "Shapes", "shape.lower"}},
        {"Shape.", {"Shape.circle", "Shape.square"}},
        {"Shape.circle", {"Shape.circle"}},
        {"Shape", {"Shape.circle", "Shape.square", "Shapes"}},
        {"shape.", {"shape.lower"}},
        {"SHAPE.", {}},
        {"Shape.circle.big", {}},  // longer than every key it would otherwise match
        {"Shx", {}},
    };
    // What the output held before stays in front, untouched.
    CShape keep("keep");
    for (const auto& c : cases) {
        std::list<CShape*> created{&keep};
        CReflex<CShape>::create(c.m_pszPrefix, created);
        ASSERT_EQ(&keep, created.front());
        Names names;
        for (auto it = std::next(created.begin()); it != created.end(); ++it) {
            names.push_back((*it)->m_strName);
            delete *it;
        }
        EXPECT_EQ(c.m_vecNames, names) << '"' << c.m_pszPrefix << '"';
    }
}

TEST(Reflex, DriverPrefixYieldsTcpThenUdpSingletons)
{
    std::list<CIpcDriverBase*> drivers;
    CReflex<CIpcDriverBase>::create("IpcEventHandle", drivers);
    // The creators hand out the one instance of each driver; nothing to free.
    EXPECT_EQ(drivers, (std::list<CIpcDriverBase*>{CIpcTcpSocketDriver::getInstance(),
                                                   CIpcUdpSocketDriver::getInstance()}));
}

}
