// What the process's configuration tells libnec.
#include "platform/sysconfig.h"

#include <gtest/gtest.h>

TEST(SysConfigTest, IsEmptyWithoutAProcess) {
    EXPECT_EQ(TESUcommonWrap::SysConfigure().getLocalSouthIP(), "");
    EXPECT_EQ(ns_tesusdk_wrap::GetIRBaseURL(), "");
}

TEST(SysConfigTest, TellsWhatWasSetAsItStands) {
    frame::setSysConfig({"10.0.0.1;;10.0.0.2", "https://mc:31943"});
    EXPECT_EQ(TESUcommonWrap::SysConfigure().getLocalSouthIP(), "10.0.0.1;;10.0.0.2");
    EXPECT_EQ(ns_tesusdk_wrap::GetIRBaseURL(), "https://mc:31943");
    frame::setSysConfig({});
    EXPECT_EQ(TESUcommonWrap::SysConfigure().getLocalSouthIP(), "");
}
