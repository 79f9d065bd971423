#include "assets/DiskCache.h"
#include "jobs/FileHelpers.h"
#include "platform/Platform.h"

#include "TempDir.h"

#include <gtest/gtest.h>

using namespace Velda;

using VeldaTest::exists;

namespace {

class DiskCacheTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        root = dir.path() + "/Qem Files/";  // not made: the lookup makes it
        DiskCache::setRoot(root);
    }
    VeldaTest::TempDir dir;
    std::string root;
    const std::string project = "http://127.0.0.1:9/project/file.action?id=7&pars=";
};

} // namespace

TEST_F(DiskCacheTest, LookupNeedsTheLineAndTheIndex)
{
    std::string rootPath = project + "index", projectRoot = project;
    EXPECT_FALSE(DiskCache::lookup(rootPath, projectRoot));  // no Cache.config
    EXPECT_TRUE(exists(root + "Cache"));

    // Line 1: another project; line 2: this one but its index is gone;
    // line 3: a line too long to ever match; line 5: this one again.
    const std::string longLine(250, 'x');
    writeTextFile(root + "Cache/Cache.config",
                  "http://other/pars=index\n" + rootPath + "\n" + longLine + "\n" + rootPath + "\n");
    EXPECT_EQ(DiskCache::countLines(root + "Cache/Cache.config"), 5);  // the long line counts twice
    Platform::makeDirectories(root + "Cache/cache_5");
    writeTextFile(root + "Cache/cache_5/index", "x");
    ASSERT_TRUE(DiskCache::lookup(rootPath, projectRoot));
    EXPECT_EQ(rootPath, "file://" + root + "Cache/cache_5/index");
    EXPECT_EQ(projectRoot, "file://" + root + "Cache/cache_5/");  // three slashes, not four
}

TEST_F(DiskCacheTest, StoresWholeRemoteFilesUnderTheirNames)
{
    Platform::makeDirectories(root + "Cache");
    DiskCache::store(project + "index", "IDX", 3);  // starts folder 1
    DiskCache::store(project + "3.mt", "MT", 2);
    DiskCache::store(project + "texs%2Fa%20b.jpg", "JPG", 3);
    DiskCache::store(project + "texs%2F%E6%B0%B4.png", "", 0);  // written also when empty
    DiskCache::store("file:///x/SkyResources/img/water.jpg", "S", 1);
    DiskCache::store("file://" + root + "Cache/cache_1/4.me", "C", 1);
    DiskCache::store(project + "texs%2F..%2F..%2Fescape.jpg", "E", 1);
    DiskCache::store("http://127.0.0.1:9/plain/7.me", "P", 1);  // a project folder addressed directly
    DiskCache::storeFailed("file:///x/SkyResources/img/water.jpg");  // not part of the project
    EXPECT_TRUE(DiskCache::folderComplete());
    DiskCache::storeFailed(project + "texs%2Fb.jpg");
    EXPECT_FALSE(DiskCache::folderComplete());

    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_1/index"), "IDX");
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_1/3.mt"), "MT");
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_1/texs/a b.jpg"), "JPG");
    // Only real names: no escape, no failed file, no temporary file left.
    EXPECT_EQ(VeldaTest::filesBelow(root), (std::set<std::string>{"Cache/cache_1/index", "Cache/cache_1/3.mt",
                                                                  "Cache/cache_1/texs/a b.jpg", "Cache/cache_1/7.me",
                                                                  "Cache/cache_1/texs/水.png"}));

    // The line is committed later; the next index starts folder 2, whole again.
    ASSERT_TRUE(DiskCache::commit(root, project + "index\n"));
    DiskCache::store(project + "index", "NEW", 3);
    EXPECT_TRUE(DiskCache::folderComplete());
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/cache_2/index"), "NEW");
    EXPECT_TRUE(exists(root + "Cache/cache_2/texs"));
    EXPECT_EQ(VeldaTest::fileText(root + "Cache/Cache.config"), project + "index\n");
    EXPECT_FALSE(DiskCache::commit(dir.path() + "/missing/", "line\n"));
}
