// The factory registry: what a prefix creates, in key order.
#include "common/ipc/Reflex.h"
#include "UnitTest.h"

namespace {

// A small family registered under keys that probe the prefix rules.
class CShape {
public:
    explicit CShape(const std::string& name) : m_strName(name) {}
    std::string m_strName;
};

#define SHAPE(var, key) CReflexRegister<CShape> var(key, [] { return static_cast<void*>(new CShape(key)); })
SHAPE(g_regSquare, "Shape.square");
SHAPE(g_regCircle, "Shape.circle");
SHAPE(g_regShapes, "Shapes");
SHAPE(g_regSh, "Sh");
SHAPE(g_regLower, "shape.lower");
SHAPE(g_regOther, "Other.x");
#undef SHAPE
CReflexRegister<CShape> g_regNull("Shape.empty", [] { return static_cast<void*>(nullptr); });
CReflexRegister<CShape> g_regNoKey(nullptr, [] { return static_cast<void*>(new CShape("no key")); });

TEST(Reflex, PrefixMatchesExactLeadingBytesInKeyOrder)
{
    // "Shape.empty" matches wherever "Shape." does, but its creator yields
    // nothing; the key-less registration never shows.
    const struct {
        const char* m_pszPrefix;
        std::vector<std::string> m_vecNames;
    } cases[] = {
        // Upper case before lower case; "Shape." before "Shapes" ('.' < 's').
        {"", {"Other.x", "Sh", "Shape.circle", "Shape.square", "Shapes", "shape.lower"}},
        {"Shape.", {"Shape.circle", "Shape.square"}},
        {"Shape.circle", {"Shape.circle"}},
        {"Shape", {"Shape.circle", "Shape.square", "Shapes"}},
        {"shape.", {"shape.lower"}},
        {"SHAPE.", {}},
        {"Shape.circle.big", {}}, // longer than every key it would otherwise match
        {"Shx", {}},
    };
    // What the output held before stays in front, untouched.
    CShape keep("keep");
    for (const auto& c : cases) {
        std::list<CShape*> created{&keep};
        CReflex<CShape>::create(c.m_pszPrefix, created);
        ASSERT_EQ(&keep, created.front());
        std::vector<std::string> names;
        for (auto it = std::next(created.begin()); it != created.end(); ++it) {
            names.push_back((*it)->m_strName);
            delete *it;
        }
        EXPECT_EQ(c.m_vecNames, names) << '"' << c.m_pszPrefix << '"';
    }
}

} // namespace
