// The emulated feature-config store on its own, called in-process.
#include <gtest/gtest.h>
#include <glib.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include "fconfig.h"
#include "tvemul.h"

namespace {

class FconfigStore : public ::testing::Test {
protected:
    void SetUp() override
    {
        gchar *dir = g_dir_make_tmp("fconfig-store-XXXXXX", nullptr);
        ASSERT_NE(dir, nullptr);
        dir_ = dir;
        g_free(dir);
        setenv("TV_EMULATOR_DIR", dir_.c_str(), 1);
        std::ofstream(dir_ + "/state.ini") << "[fconfig]\nf.on=Boolean:true\nf.n=Int:10\nf.s=String:two words\n"
                                              "f.d=Double:1.5\nf.bad=Boolean:yes\nf.untyped=plain\n";
    }
    void TearDown() override { EXPECT_EQ(system(("rm -rf '" + dir_ + "'").c_str()), 0); }

    std::string item(const char *name) const
    {
        return tvemul::get_str(tvemul::load_state().get(), "fconfig", name, "");
    }

    std::string dir_;
};

TEST_F(FconfigStore, ItemsKeepTheirTypeAndAreNeverCreated)
{
    char *type = fconfig_get_type("f.d");
    ASSERT_NE(type, nullptr);
    EXPECT_STREQ(type, "Double");
    free(type);
    EXPECT_EQ(fconfig_get_type("f.untyped"), nullptr);
    EXPECT_EQ(fconfig_get_type("f.missing"), nullptr);

    EXPECT_GE(fconfig_set_bool("f.on", false), 0);
    EXPECT_GE(fconfig_set_str("f.s", "x:y"), 0);
    EXPECT_EQ(item("f.on"), "Boolean:false");
    EXPECT_EQ(item("f.s"), "String:x:y");

    int n = 0;
    bool on = true;
    EXPECT_LT(fconfig_set_int("f.on", 1), 0);
    EXPECT_LT(fconfig_get_int("f.s", &n), 0);
    EXPECT_LT(fconfig_set_str("f.d", "2"), 0);
    EXPECT_LT(fconfig_set_int("f.missing", 1), 0);
    EXPECT_LT(fconfig_set_str("f.s", "a\nb"), 0);
    EXPECT_LT(fconfig_get_bool("f.bad", &on), 0);
    EXPECT_EQ(item("f.on"), "Boolean:false");
    EXPECT_EQ(item("f.d"), "Double:1.5");
    EXPECT_EQ(item("f.missing"), "");
    EXPECT_EQ(item("f.s"), "String:x:y");
}

}  // namespace
