// The emulator's shared pieces: state directory, state.ini, calls.log, [fail].
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "harness.h"
#include "system_info.h"
#include "tvemul.h"

namespace {

class EmulatorCore : public ::testing::Test {
protected:
    void SetUp() override
    {
        char templ[] = "/tmp/tvemul-test-XXXXXX";
        ASSERT_NE(mkdtemp(templ), nullptr);
        base_ = templ;
        dir_ = base_ + "/state/nested";  // created on first use
        setenv("TV_EMULATOR_DIR", dir_.c_str(), 1);
    }
    void TearDown() override
    {
        unsetenv("TV_EMULATOR_DIR");
        std::string cmd = "rm -rf '" + base_ + "'";
        ASSERT_EQ(std::system(cmd.c_str()), 0);
    }
    std::string read(const char *name) const
    {
        std::ifstream in(dir_ + "/" + name);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    void write_state(const std::string &text) const
    {
        tvemul::state_dir();
        std::ofstream(dir_ + "/state.ini") << text;
    }

    std::string base_, dir_;
};

TEST_F(EmulatorCore, CallsAreLoggedOneLineEachInCallOrder)
{
    tvemul::Call("device_power_lock_state", tvemul::Args(3, 0)).record();
    tvemul::Call("vconf_set_str", tvemul::Args("db/x", "a b")).record();
    tvemul::Call("rm_register", tvemul::Args(this, nullptr, nullptr)).record_handle(1);
    tvemul::Call("f", tvemul::Args(static_cast<const char *>(nullptr), -2147483648LL)).record();
    EXPECT_EQ(read("calls.log"),
              "device_power_lock_state 3 0\n"
              "vconf_set_str \"db/x\" \"a b\"\n"
              "rm_register ptr null null = 1\n"
              "f null -2147483648\n");
}

TEST_F(EmulatorCore, FailSectionMakesAFunctionReturnItsResult)
{
    write_state("[fail]\nsystem_info_debug=-22\nother=\n");
    long long result = 0;
    EXPECT_TRUE(tvemul::failing("system_info_debug", &result));
    EXPECT_EQ(result, -22);
    EXPECT_FALSE(tvemul::failing("system_info", &result));

    testing::internal::CaptureStdout();
    EXPECT_EQ(system_info_debug(), -22);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");  // does nothing...
    EXPECT_EQ(read("calls.log"), "system_info_debug\n");    // ...but is still recorded
}

TEST_F(EmulatorCore, StateIsReadAfreshAndDefaultsApply)
{
    tvemul::KeyFile kf = tvemul::load_state();  // no file yet
    EXPECT_EQ(tvemul::get_int(kf.get(), "power", "state", 7), 7);
    write_state("[power]\nstate=2\nbad=x\nhex=0x1234\nneg=-0xC0000002\nzero=010\n"
                "[panel]\nburn_in_protection=true\n");
    kf = tvemul::load_state();
    EXPECT_EQ(tvemul::get_int(kf.get(), "power", "state", 0), 2);
    EXPECT_EQ(tvemul::get_int(kf.get(), "power", "bad", 5), 5);
    EXPECT_EQ(tvemul::get_int(kf.get(), "power", "hex", 0), 0x1234);
    EXPECT_EQ(tvemul::get_int(kf.get(), "power", "neg", 0), -0xC0000002LL);
    EXPECT_EQ(tvemul::get_int(kf.get(), "power", "zero", 0), 10);
    EXPECT_TRUE(tvemul::get_bool(kf.get(), "panel", "burn_in_protection", false));
    EXPECT_EQ(tvemul::get_str(kf.get(), "panel", "missing", "dflt"), "dflt");
}

TEST_F(EmulatorCore, ConcurrentWritersLoseNoUpdate)
{
    write_state("# kept\n[counter]\nn=0\n");
    const int writers = 4, rounds = 40;
    for (int w = 0; w < writers; ++w) {
        pid_t pid = fork();
        ASSERT_GE(pid, 0);
        if (pid == 0) {
            for (int i = 0; i < rounds; ++i) {
                tvemul::StateUpdate update;
                long long n = tvemul::get_int(update.get(), "counter", "n", -1000);
                g_key_file_set_int64(update.get(), "counter", "n", n + 1);
                if (!update.commit())
                    _exit(1);
            }
            _exit(0);
        }
    }
    for (int w = 0; w < writers; ++w) {
        int status = 0;
        wait(&status);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    tvemul::KeyFile kf = tvemul::load_state();
    EXPECT_EQ(tvemul::get_int(kf.get(), "counter", "n", 0), writers * rounds);
    EXPECT_NE(read("state.ini").find("# kept"), std::string::npos);

    // Written by rename: nothing but the state, its lock and the log remains.
    std::string cmd = "ls -A '" + dir_ + "' | grep -v -x -e state.ini -e state.lock -e calls.log";
    EXPECT_NE(std::system(cmd.c_str()), 0);
}

}  // namespace
