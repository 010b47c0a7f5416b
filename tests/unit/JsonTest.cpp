// JSON access: child nodes and loading. The getters are checked through
// the configuration's keys (ConfigTest).
#include "common/core/JsonNode.h"
#include "common/core/JsonParser.h"
#include "UnitTest.h"

namespace {

TEST(JsonNode, ChildrenByKeyOnObjectsAndByIndexOnArrays)
{
    CJsonNode root;
    ASSERT_EQ(0, CJsonParser::loadFromStr(R"({"list": [1, 2], "obj": {"a": {"b": "deep"}}})", root));
    CJsonNode list, obj, child;
    ASSERT_TRUE(root.getChildNode("list", list));
    ASSERT_TRUE(root.getChildNode("obj", obj));
    EXPECT_TRUE(obj.isKeyExist("a"));
    EXPECT_FALSE(obj.isKeyExist("b"));
    EXPECT_FALSE(list.isKeyExist("0"));
    EXPECT_FALSE(list.getChildNode("a", child));
    EXPECT_FALSE(obj.getChildNode("missing", child));
    EXPECT_FALSE(obj.getChildNode(0, child));
    EXPECT_EQ(0, obj.size());
    EXPECT_FALSE(CJsonNode().isKeyExist("a"));

    // An index equal to the size appends a null element.
    EXPECT_FALSE(list.getChildNode(-1, child));
    EXPECT_FALSE(list.getChildNode(3, child));
    ASSERT_TRUE(list.getChildNode(2, child));
    EXPECT_EQ(3, list.size());
    EXPECT_FALSE(child.isInt());

    // Child handles, re-pointed or gone, never free the document.
    {
        CJsonNode a, b;
        ASSERT_TRUE(obj.getChildNode("a", a));
        ASSERT_TRUE(a.getChildNode("b", b));
        ASSERT_TRUE(obj.getChildNode("a", b));
    }
    CJsonNode a, b;
    ASSERT_TRUE(obj.getChildNode("a", a));
    ASSERT_TRUE(a.getChildNode("b", b));
    std::string text;
    EXPECT_TRUE(b.getValue(text));
    EXPECT_EQ("deep", text);
}

TEST(JsonParser, ALoadReplacesTheDocumentOnlyWhenItParses)
{
    CTempDir dir;
    writeFile(dir.file("good.json"), "// gateway settings\n{\"log\": {\"level\": \"Info\"}}\n");
    writeFile(dir.file("bad.json"), "{\"log\": ");
    const struct {
        std::string m_strFile; // empty: m_strText is loaded as text
        std::string m_strText;
        int m_iResult;
        bool m_bHasLog; // the document afterwards
    } cases[] = {
        {dir.file("missing.json"), "", -2, false},
        {dir.path(), "", -2, false},
        {dir.file("good.json"), "", 0, true},
        {dir.file("bad.json"), "", -1, true},
        {"", "{\"log\" 1}", -1, true},
        // The reader gives up past 1000 levels.
        {"", std::string(1001, '[') + std::string(1001, ']'), -1, true},
        {"", std::string(900, '[') + std::string(900, ']'), 0, false},
    };
    CJsonNode root;
    for (const auto& c : cases) {
        const int result = c.m_strFile.empty() ? CJsonParser::loadFromStr(c.m_strText, root)
                                               : CJsonParser::loadFromFile(c.m_strFile, root);
        EXPECT_EQ(c.m_iResult, result) << c.m_strFile << c.m_strText.substr(0, 20);
        EXPECT_EQ(c.m_bHasLog, root.isKeyExist("log")) << c.m_strFile << c.m_strText.substr(0, 20);
    }
    EXPECT_TRUE(root.isArray());
}

} // namespace
