// The emulated vconf store on its own, called in-process.
#include <gtest/gtest.h>
#include <glib.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "vconf.h"
#include "tvemul.h"

namespace {

class VconfStore : public ::testing::Test {
protected:
    void SetUp() override
    {
        gchar *dir = g_dir_make_tmp("vconf-store-XXXXXX", nullptr);
        ASSERT_NE(dir, nullptr);
        dir_ = dir;
        g_free(dir);
        setenv("TV_EMULATOR_DIR", dir_.c_str(), 1);
    }
    void TearDown() override { EXPECT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }

    void write_state(const std::string &text) const { std::ofstream(dir_ + "/state.ini") << text; }
    std::string entry(const char *key) const
    {
        return tvemul::get_str(tvemul::load_state().get(), "vconf", key, "");
    }

    std::string dir_;
};

TEST_F(VconfStore, SetsCreateKeysOfTheirTypeAndKeepIt)
{
    EXPECT_EQ(vconf_set_bool("memory/t/b", 7), 0);
    EXPECT_EQ(vconf_set_str("file/t/s", "a:b"), 0);
    EXPECT_EQ(vconf_set_dbl("db/t/d", 0.1), 0);
    EXPECT_EQ(entry("memory/t/b"), "bool:1");
    EXPECT_EQ(entry("file/t/s"), "string:a:b");
    EXPECT_EQ(entry("db/t/d"), "double:0.10000000000000001");
    double d = 0;
    EXPECT_EQ(vconf_get_dbl("db/t/d", &d), 0);
    EXPECT_EQ(d, 0.1);
    // Every input argument is recorded, the double too.
    std::ifstream log(dir_ + "/calls.log");
    const std::string calls((std::istreambuf_iterator<char>(log)), std::istreambuf_iterator<char>());
    EXPECT_EQ(calls, "vconf_set_bool \"memory/t/b\" 7\nvconf_set_str \"file/t/s\" \"a:b\"\n"
                     "vconf_set_dbl \"db/t/d\" 0.1\nvconf_get_dbl \"db/t/d\"\n");

    // Another type is refused both ways, and the key is left alone.
    int n = 0;
    EXPECT_EQ(vconf_set_int("file/t/s", 1), -1);
    EXPECT_EQ(vconf_get_int("file/t/s", &n), -1);
    EXPECT_EQ(entry("file/t/s"), "string:a:b");

    // Names outside the layers, or that state.ini cannot hold, and values
    // with line breaks are refused without touching the file.
    for (const char *key : {"sys/t/n", "Db/t/n", "db/t/a=b", "db/t/[x]", "db/t/a b", "db/t/a\nb"})
        EXPECT_EQ(vconf_set_int(key, 1), -1) << key;
    EXPECT_EQ(vconf_set_str("db/t/s", "two\nlines"), -1);
    EXPECT_EQ(entry("db/t/s"), "");
}

TEST_F(VconfStore, MalformedEntriesAreFailedReads)
{
    write_state("[vconf]\ndb/m/int=int:12abc\ndb/m/big=int:4294967296\ndb/m/bool=bool:2\n"
                "db/m/dbl=double:abc\ndb/m/raw=12\n");
    int n = 99;
    double d = 0;
    EXPECT_EQ(vconf_get_int("db/m/int", &n), -1);
    EXPECT_EQ(vconf_get_int("db/m/big", &n), -1);
    EXPECT_EQ(vconf_get_bool("db/m/bool", &n), -1);
    EXPECT_EQ(vconf_get_dbl("db/m/dbl", &d), -1);
    EXPECT_EQ(vconf_get_int("db/m/raw", &n), -1);
    EXPECT_EQ(n, 99);
    EXPECT_EQ(vconf_set_int("db/m/raw", 1), -1);
}

TEST_F(VconfStore, KeyListIsSortedByBytesAndCarriesTypes)
{
    write_state("[vconf]\ndb/k/b=int:1\ndb/k/B=string:x\ndb/k/a=double:1.5\ndb/k/c=bool:0\ndb/k/z=dir:\n"
                "db/kx=int:0\nmemory/k/a=int:0\n");
    auto walk = [](keylist_t *list) {
        std::vector<std::pair<std::string, int>> nodes;
        while (keynode_t *node = vconf_keylist_nextnode(list))
            nodes.emplace_back(vconf_keynode_get_name(node), vconf_keynode_get_type(node));
        return nodes;
    };
    keylist_t *list = vconf_keylist_new();
    ASSERT_EQ(vconf_get(list, "db/k/", VCONF_GET_KEY), 0);
    const std::vector<std::pair<std::string, int>> expected = {{"db/k/B", VCONF_TYPE_STRING},
                                                               {"db/k/a", VCONF_TYPE_DOUBLE},
                                                               {"db/k/b", VCONF_TYPE_INT},
                                                               {"db/k/c", VCONF_TYPE_BOOL},
                                                               {"db/k/z", VCONF_TYPE_NONE}};
    EXPECT_EQ(walk(list), expected);
    EXPECT_EQ(vconf_keylist_nextnode(list), nullptr);

    // Filled again: the new keys only.
    ASSERT_EQ(vconf_get(list, "memory/", VCONF_GET_KEY), 0);
    EXPECT_EQ(walk(list), (std::vector<std::pair<std::string, int>>{{"memory/k/a", VCONF_TYPE_INT}}));
    vconf_keylist_free(list);
}

}  // namespace
