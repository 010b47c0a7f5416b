#include <gtest/gtest.h>

#include <climits>

#include "JsonNode.h"
#include "JsonParser.h"
#include "TempDir.h"

namespace {

void load(const std::string& text, CJsonNode& root)
{
    ASSERT_EQ(0, CJsonParser::loadFromStr(text, root)) << text;
}

}  // namespace

TEST(JsonNode, EmptyHandleYieldsNothing)
{
    CJsonNode node;
    int i = 7;
    std::string s = "kept";
    std::string styled = "kept";
    EXPECT_FALSE(node.isObject());
    EXPECT_FALSE(node.isInt());
    EXPECT_FALSE(node.isKeyExist("a"));
    EXPECT_FALSE(node.getValue(i));
    EXPECT_FALSE(node.getValue(s));
    EXPECT_FALSE(node.getJsonString(styled));
    EXPECT_EQ(0, node.size());
    EXPECT_EQ(7, i);
    EXPECT_EQ("kept", s);
    EXPECT_EQ("kept", styled);
}

TEST(JsonNode, IntegerGettersTruncateToTheirWidth)
{
    CJsonNode root;
    load("[4294967295, -1, 3.5, 9223372036854775807, true, 18446744073709551615]", root);
    CJsonNode big, minus, real, huge, flag, top;
    ASSERT_TRUE(root.getChildNode(0, big));
    ASSERT_TRUE(root.getChildNode(1, minus));
    ASSERT_TRUE(root.getChildNode(2, real));
    ASSERT_TRUE(root.getChildNode(3, huge));
    ASSERT_TRUE(root.getChildNode(4, flag));
    ASSERT_TRUE(root.getChildNode(5, top));

    int i = 0;
    unsigned int u = 0;
    long long ll = 0;
    unsigned long long ull = 0;
    EXPECT_TRUE(big.isInt());
    EXPECT_TRUE(big.getValue(i));
    EXPECT_EQ(-1, i);
    EXPECT_TRUE(big.getValue(u));
    EXPECT_EQ(4294967295u, u);
    EXPECT_TRUE(big.getValue(ll));
    EXPECT_EQ(4294967295ll, ll);
    // Out-of-range conversions wrap rather than throw.
    EXPECT_TRUE(minus.getValue(u));
    EXPECT_EQ(4294967295u, u);
    EXPECT_TRUE(minus.getValue(ull));
    EXPECT_EQ(18446744073709551615ull, ull);
    EXPECT_TRUE(top.getValue(ll));
    EXPECT_EQ(-1, ll);
    EXPECT_TRUE(top.getValue(i));
    EXPECT_EQ(-1, i);
    EXPECT_TRUE(huge.getValue(ull));
    EXPECT_EQ(9223372036854775807ull, ull);
    EXPECT_TRUE(huge.getValue(ll));
    EXPECT_EQ(LLONG_MAX, ll);
    EXPECT_TRUE(huge.getValue(i));
    EXPECT_EQ(-1, i);

    // A real number or a boolean is no integer, and the target stays.
    i = 42;
    EXPECT_FALSE(real.isInt());
    EXPECT_FALSE(real.getValue(i));
    EXPECT_FALSE(flag.getValue(i));
    EXPECT_EQ(42, i);

    double d = 0;
    float f = 0;
    EXPECT_TRUE(real.getValue(d));
    EXPECT_DOUBLE_EQ(3.5, d);
    EXPECT_TRUE(real.getValue(f));
    EXPECT_FLOAT_EQ(3.5f, f);

    bool b = false;
    EXPECT_TRUE(flag.getValue(b));
    EXPECT_TRUE(b);
    EXPECT_FALSE(big.getValue(b));
}

TEST(JsonNode, StringGetterRefusesNumbers)
{
    CJsonNode root;
    load(R"({"name": "udp", "port": 8080})", root);
    CJsonNode name, port;
    ASSERT_TRUE(root.getChildNode("name", name));
    ASSERT_TRUE(root.getChildNode("port", port));

    std::string text = "unchanged";
    EXPECT_FALSE(port.getValue(text));
    EXPECT_EQ("unchanged", text);
    EXPECT_TRUE(name.getValue(text));
    EXPECT_EQ("udp", text);
    int number = 0;
    EXPECT_FALSE(name.getValue(number));
}

TEST(JsonNode, KeysExistOnlyOnObjects)
{
    CJsonNode root;
    load(R"({"list": ["a", "b"], "obj": {"a": 1}})", root);
    CJsonNode list, obj, child;
    ASSERT_TRUE(root.getChildNode("list", list));
    ASSERT_TRUE(root.getChildNode("obj", obj));

    EXPECT_TRUE(obj.isKeyExist("a"));
    EXPECT_FALSE(obj.isKeyExist("b"));
    EXPECT_FALSE(list.isKeyExist("a"));
    EXPECT_FALSE(list.isKeyExist("0"));
    EXPECT_FALSE(list.getChildNode("a", child));
    EXPECT_FALSE(obj.getChildNode("missing", child));
    EXPECT_FALSE(obj.getChildNode(0, child));
    EXPECT_EQ(0, obj.size());
}

TEST(JsonNode, IndexEqualToSizeAppendsNullElement)
{
    CJsonNode root;
    load("[1, 2]", root);
    CJsonNode child;
    EXPECT_FALSE(root.getChildNode(-1, child));
    EXPECT_FALSE(root.getChildNode(3, child));
    EXPECT_EQ(2, root.size());

    ASSERT_TRUE(root.getChildNode(2, child));
    EXPECT_EQ(3, root.size());
    EXPECT_FALSE(child.isInt());
    EXPECT_FALSE(child.isObject());

    EXPECT_FALSE(root.getChildNode(4, child));
    EXPECT_TRUE(root.getChildNode(3, child));
    EXPECT_EQ(4, root.size());
}

TEST(JsonNode, SetValueByKindOfContainer)
{
    CJsonNode root;
    load(R"({"list": []})", root);
    CJsonNode list;
    ASSERT_TRUE(root.getChildNode("list", list));

    Json::Value number(5);
    EXPECT_TRUE(root.setValue("n", number));
    EXPECT_FALSE(root.setValue(number));
    EXPECT_TRUE(list.setValue(number));
    EXPECT_FALSE(list.setValue("n", number));

    EXPECT_EQ(1, list.size());

    CJsonNode single;
    load(R"({"n": 5})", single);
    std::string styled;
    ASSERT_TRUE(single.getJsonString(styled));
    EXPECT_EQ("{\n\t\"n\" : 5\n}\n", styled);
}

TEST(JsonNode, ChildHandlesNeverFreeTheDocument)
{
    CJsonNode root;
    load(R"({"a": {"b": "deep"}})", root);
    {
        CJsonNode a;
        ASSERT_TRUE(root.getChildNode("a", a));
        CJsonNode b;
        ASSERT_TRUE(a.getChildNode("b", b));
        // Re-pointing a child releases nothing of the parent either.
        ASSERT_TRUE(root.getChildNode("a", b));
    }
    CJsonNode a, b;
    ASSERT_TRUE(root.getChildNode("a", a));
    ASSERT_TRUE(a.getChildNode("b", b));
    std::string text;
    EXPECT_TRUE(b.getValue(text));
    EXPECT_EQ("deep", text);
}

TEST(JsonParser, MissingFileIsMinusTwoBadFileMinusOne)
{
    TempDir dir;
    CJsonNode root;
    EXPECT_EQ(-2, CJsonParser::loadFromFile(dir.file("missing.json"), root));
    EXPECT_EQ(-2, CJsonParser::loadFromFile(dir.path(), root));

    writeFile(dir.file("good.json"), "// gateway settings\n{\"log\": {\"level\": \"Info\"}}\n");
    ASSERT_EQ(0, CJsonParser::loadFromFile(dir.file("good.json"), root));
    EXPECT_TRUE(root.isKeyExist("log"));

    // A failed load leaves the earlier document in place.
    writeFile(dir.file("bad.json"), "{\"log\": ");
    EXPECT_EQ(-1, CJsonParser::loadFromFile(dir.file("bad.json"), root));
    EXPECT_TRUE(root.isKeyExist("log"));
    EXPECT_EQ(-1, CJsonParser::loadFromStr("{\"log\" 1}", root));
    EXPECT_TRUE(root.isKeyExist("log"));

    // A successful load replaces it.
    ASSERT_EQ(0, CJsonParser::loadFromStr("[1]", root));
    EXPECT_TRUE(root.isArray());
    EXPECT_FALSE(root.isKeyExist("log"));
}

TEST(JsonParser, TooDeepADocumentFailsToLoad)
{
    // The reader gives up past 1000 levels; the load fails and the process
    // goes on.
    CJsonNode root;
    EXPECT_EQ(-1, CJsonParser::loadFromStr(std::string(1001, '[') + std::string(1001, ']'), root));
    EXPECT_EQ(0, CJsonParser::loadFromStr(std::string(900, '[') + std::string(900, ']'), root));
    EXPECT_TRUE(root.isArray());
}
