#include "jobs/FileHelpers.h"
#include "log/Log.h"
#include "platform/Platform.h"

#include "TempDir.h"

#include <gtest/gtest.h>

using namespace Velda;
using VeldaTest::ScopedEnv;
using VeldaTest::TempDir;
using VeldaTest::exists;
using VeldaTest::fileText;

TEST(Platform, Folders)
{
    TempDir dir;
    {
        ScopedEnv app("APPDATA", dir.path() + "/roaming/");
        EXPECT_EQ(Platform::appDataFolder(), dir.path() + "/roaming/Qem Files/");
    }
    {
        ScopedEnv app("APPDATA", "");
        ScopedEnv xdg("XDG_DATA_HOME", dir.path() + "/xdg");
        EXPECT_EQ(Platform::appDataFolder(), dir.path() + "/xdg/Qem Files/");
        EXPECT_EQ(Platform::ensureAppDataFolder(), dir.path() + "/xdg/Qem Files/");
        EXPECT_TRUE(exists(dir.path() + "/xdg/Qem Files"));
    }

    EXPECT_TRUE(exists(Platform::programFolder() + "/engine_platform_log"));  // the folder of this program

    EXPECT_TRUE(Platform::makeDirectories(dir.path() + "/a/b/c/"));
    EXPECT_TRUE(exists(dir.path() + "/a/b/c"));
    EXPECT_TRUE(Platform::makeDirectory(dir.path() + "/a"));  // existing is fine
    EXPECT_FALSE(Platform::makeDirectory(dir.path() + "/x/y"));  // one level only
    ASSERT_TRUE(writeTextFile(dir.path() + "/file", "x"));
    EXPECT_FALSE(Platform::makeDirectories(dir.path() + "/file/sub"));
    EXPECT_EQ(Platform::tempFolder().back(), '/');
}

TEST(Logging, OnlyAFirstArgumentDashDTurnsItOn)
{
    TempDir dir;
    ScopedEnv app("APPDATA", dir.path());
    const std::string logFile = dir.path() + "/Qem Files/myeasylog.log";

    char program[] = "viewer";
    char d[] = "-d";
    char other[] = "--other";
    char* second[] = {program, other, d, nullptr};
    Log::configure(3, second);
    EXPECT_FALSE(Log::enabled());
    EXPECT_TRUE(exists(dir.path() + "/Qem Files"));  // the folder is made either way
    VLOG << "never written";
    EXPECT_FALSE(exists(logFile));

    char* first[] = {program, d, nullptr};
    Log::configure(2, first);
    ASSERT_TRUE(Log::enabled());
    EXPECT_EQ(Log::filePath(), logFile);
    VLOG << "Project Id : " << 42;
    const std::string text = fileText(logFile);
    EXPECT_NE(text.find("INFO [trivial]"), std::string::npos);
    EXPECT_NE(text.find("Project Id : 42"), std::string::npos);
    EXPECT_EQ(text.find("never written"), std::string::npos);

    char* none[] = {program, nullptr};
    Log::configure(1, none);
    EXPECT_FALSE(Log::enabled());
}
