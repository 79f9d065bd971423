// Opening a model from the command line, below the window: the command
// line, the file's digest, the packed models' folder with its staging and
// sweeping, the job that hashes and packs through the real velda-pack (and
// through packers that fail, are missing or hang until cancelled), and what
// the project info says of a local model.
#include "Common/FileDigest.h"
#include "Common/LocalModelJob.h"
#include "Common/LocalProject.h"
#include "Common/ModelLibrary.h"
#include "Common/ViewerArguments.h"
#include "formats/TextHelpers.h"

#include "Process.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace VeldaClient;
using VeldaTest::exists;
using VeldaTest::TempDir;
namespace fs = std::filesystem;

namespace {

ViewerArguments parse(const std::vector<std::string>& args)
{
    VeldaTest::ArgumentVector command("velda-viewer", args);
    return ViewerArguments::parse(command.argc(), command.argv());
}

void write(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

// Everything below a folder, files and folders, relative to it.
std::set<std::string> entriesBelow(const std::string& folder)
{
    std::set<std::string> found;
    std::error_code ec;
    for (fs::recursive_directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec))
        found.insert(fs::relative(it->path(), folder).string());
    return found;
}

// Runs a job to its end on an event loop of its own (bounded).
LocalModelJob::Outcome runJob(LocalModelJob& job, const std::function<void()>& whileRunning = {})
{
    QEventLoop loop;
    QObject::connect(&job, &LocalModelJob::finished, &loop, &QEventLoop::quit);
    job.start();
    if (job.outcome() == LocalModelJob::Outcome::Running) {
        if (whileRunning)
            QTimer::singleShot(0, whileRunning);
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        loop.exec();
    }
    return job.outcome();
}

class OpenModel : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        static int argc = 1;
        static char name[] = "common_open_model";
        static char* argv[] = {name, nullptr};
        static QCoreApplication application(argc, argv);
    }
    TempDir dir;
    std::string appData = dir.file("appdata/");
    ModelLibrary library{appData};
};

} // namespace

TEST(ViewerArgumentsTest, OneModelAmongTheLoggersAndQtsOptions)
{
    EXPECT_EQ(parse({}).model, "");
    EXPECT_EQ(parse({"-d"}).model, "");
    EXPECT_EQ(parse({"-d", "house.ifc"}).model, "house.ifc");
    EXPECT_EQ(parse({"house.ifc", "-d"}).model, "house.ifc");
    EXPECT_EQ(parse({"-platform", "offscreen", "house.ifc"}).model, "house.ifc");  // Qt's value is not the model
    EXPECT_EQ(parse({"--style=fusion", "--v=2", "house.ifc"}).model, "house.ifc");
    EXPECT_EQ(parse({"--", "-odd name.ifc"}).model, "-odd name.ifc");
    EXPECT_TRUE(parse({"--faithful", "house.ifc"}).faithful);
    EXPECT_FALSE(parse({"house.ifc"}).faithful);
    EXPECT_TRUE(parse({"--help"}).help);
    EXPECT_TRUE(parse({"-h"}).help);
    EXPECT_NE(parse({"a.ifc", "b.ifc"}).error, "");
    EXPECT_NE(parse({""}).error, "");
    EXPECT_EQ(parse({"a.ifc"}).error, "");
}

TEST_F(OpenModel, DigestOfAFileInPieces)
{
    write(dir.file("abc"), "abc");
    EXPECT_EQ(FileDigest::of(dir.file("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    write(dir.file("big"), std::string(10000, 'x'));
    FileDigest digest;
    ASSERT_TRUE(digest.open(dir.file("big")));
    double last = 0.0;
    int steps = 0;
    while (!digest.step(3000)) {
        EXPECT_GT(digest.fraction(), last);
        last = digest.fraction();
        ++steps;
    }
    EXPECT_EQ(steps, 3);
    EXPECT_EQ(digest.fraction(), 1.0);
    EXPECT_EQ(digest.hex(), FileDigest::of(dir.file("big")));
    FileDigest missing;
    EXPECT_FALSE(missing.open(dir.file("missing")));
    EXPECT_NE(missing.error(), "");
    EXPECT_EQ(FileDigest::of(dir.file("missing")), "");
}

TEST_F(OpenModel, TheLibraryMovesWholeProjectsIntoPlaceAndSweepsTheLeftovers)
{
    EXPECT_EQ(library.root(), appData + "Models/" VELDA_VERSION "/");
    EXPECT_FALSE(library.holds("k1"));
    const std::string a = library.makeStaging();
    EXPECT_EQ(a.rfind(library.root() + ".pack-" + std::to_string(getpid()) + "-", 0), 0u) << a;
    fs::create_directories(ModelLibrary::stagedProject(a));
    write(ModelLibrary::stagedProject(a) + "/index", "A");
    ASSERT_TRUE(library.commit(a, "k1"));
    EXPECT_TRUE(library.holds("k1"));
    EXPECT_FALSE(exists(a));

    // A second viewer packed the same model meanwhile: the first one stays.
    const std::string b = library.makeStaging();
    fs::create_directories(ModelLibrary::stagedProject(b));
    write(ModelLibrary::stagedProject(b) + "/index", "B");
    EXPECT_TRUE(library.commit(b, "k1"));
    EXPECT_EQ(VeldaTest::fileText(library.projectFolder("k1") + "/index"), "A");
    EXPECT_FALSE(exists(b));

    // The staging folder of a viewer that is gone goes; a running one's stays.
    const pid_t child = fork();
    if (child == 0)
        _exit(0);
    waitpid(child, nullptr, 0);
    const std::string gone = library.root() + ".pack-" + std::to_string(child) + "-abcdef";
    fs::create_directories(gone + "/project");
    const std::string mine = library.makeStaging();
    library.sweep();
    EXPECT_FALSE(exists(gone));
    EXPECT_TRUE(exists(mine));
    library.discard(mine);
    EXPECT_EQ(entriesBelow(library.root()), (std::set<std::string>{"k1", "k1/index"}));
}

TEST_F(OpenModel, AFilePackedOnceAFolderAsItIsAndBadArgumentsBeforeAnyWrite)
{
    // A small model: packed the first time, found the second.
    write(dir.file("tri.obj"), "v 0 0 0\nv 1 0 0\nv 0 1 1\nf 1 2 3\n");
    std::vector<std::string> steps;
    LocalModelJob first(library, VELDA_PACK_PATH, dir.file("tri.obj"));
    QObject::connect(&first, &LocalModelJob::progress, [&](double, QString step) {
        if (steps.empty() || steps.back() != step.toStdString())
            steps.push_back(step.toStdString());
    });
    ASSERT_EQ(runJob(first), LocalModelJob::Outcome::Opened) << first.problem() << " " << first.detail();
    EXPECT_TRUE(first.packed());
    EXPECT_EQ(first.kind(), LocalModelJob::Kind::File);
    EXPECT_EQ(first.key(), FileDigest::of(dir.file("tri.obj")));
    EXPECT_EQ(first.projectFolder(), library.projectFolder(first.key()));
    EXPECT_TRUE(library.holds(first.key()));
    EXPECT_EQ(steps, (std::vector<std::string>{"hash", "read", "write"}));
    const std::set<std::string> packed = entriesBelow(library.root());
    LocalModelJob second(library, VELDA_PACK_PATH, dir.file("tri.obj"));
    ASSERT_EQ(runJob(second), LocalModelJob::Outcome::Opened);
    EXPECT_FALSE(second.packed());
    EXPECT_EQ(second.projectFolder(), first.projectFolder());
    EXPECT_EQ(entriesBelow(library.root()), packed);

    // The packed project's folder given itself: taken as it is, keyed by its index.
    LocalModelJob folder(library, VELDA_PACK_PATH, first.projectFolder() + "/");
    ASSERT_EQ(runJob(folder), LocalModelJob::Outcome::Opened);
    EXPECT_EQ(folder.kind(), LocalModelJob::Kind::Folder);
    EXPECT_EQ(folder.projectFolder(), first.projectFolder());
    EXPECT_EQ(folder.key(), FileDigest::of(first.projectFolder() + "/index"));

    // Refused at once, nothing written.
    TempDir other;
    const ModelLibrary untouched(other.file("appdata/"));
    fs::create_directory(dir.file("empty"));
    for (const std::string& bad : {dir.file("missing.ifc"), dir.file("empty"), std::string("/dev/null")}) {
        LocalModelJob job(untouched, VELDA_PACK_PATH, bad);
        job.start();
        EXPECT_EQ(job.outcome(), LocalModelJob::Outcome::Failed) << bad;
        EXPECT_NE(job.problem(), "");
        EXPECT_NE(job.detail().find(bad == "/dev/null" ? bad : dir.path()), std::string::npos) << job.detail();
    }
    EXPECT_FALSE(exists(other.file("appdata")));
}

TEST_F(OpenModel, APackerThatFailsIsMissingOrIsCancelledLeavesNothing)
{
    write(dir.file("junk.ifc"), "not a building\n");
    LocalModelJob refused(library, VELDA_PACK_PATH, dir.file("junk.ifc"));
    ASSERT_EQ(runJob(refused), LocalModelJob::Outcome::Failed);
    EXPECT_NE(refused.detail().find(dir.file("junk.ifc")), std::string::npos) << refused.detail();
    EXPECT_NE(refused.detail().find("ISO-10303-21"), std::string::npos) << "the packer's reason";
    EXPECT_EQ(entriesBelow(library.root()), std::set<std::string>());

    LocalModelJob missing(library, dir.file("no-packer"), dir.file("junk.ifc"));
    ASSERT_EQ(runJob(missing), LocalModelJob::Outcome::Failed);
    EXPECT_NE(missing.detail().find("cannot start"), std::string::npos) << missing.detail();
    EXPECT_EQ(entriesBelow(library.root()), std::set<std::string>());

    // A packer that writes, says its pid and waits: cancelled, it is ended
    // and its staging folder removed.
    const std::string hanging = dir.file("hanging-packer");
    write(hanging, "#!/bin/sh\nmkdir -p \"$2\" && echo $$ > \"$2/pid\" && echo 'progress 0.100 read'\nexec sleep 60\n");
    chmod(hanging.c_str(), 0755);
    LocalModelJob cancelled(library, hanging, dir.file("junk.ifc"));
    std::string pidFile;
    double shown = -1.0;
    QObject::connect(&cancelled, &LocalModelJob::progress, [&](double fraction, QString step) {
        if (step == "read")
            shown = fraction;
    });
    const auto cancelWhenPacking = [&]() {
        QTimer* poll = new QTimer(&cancelled);
        QObject::connect(poll, &QTimer::timeout, [&, poll]() {
            for (const std::string& entry : entriesBelow(library.root()))
                if (entry.size() > 4 && entry.compare(entry.size() - 4, 4, "/pid") == 0 && shown > 0.0) {
                    pidFile = library.root() + entry;
                    const pid_t pid = static_cast<pid_t>(std::stol(VeldaTest::fileText(pidFile)));
                    poll->stop();
                    cancelled.cancel();
                    EXPECT_FALSE(kill(pid, 0) == 0) << "the packer still runs";
                }
        });
        poll->start(20);
    };
    ASSERT_EQ(runJob(cancelled, cancelWhenPacking), LocalModelJob::Outcome::Cancelled);
    EXPECT_NE(pidFile, "");
    EXPECT_DOUBLE_EQ(shown, 0.1);
    EXPECT_EQ(entriesBelow(library.root()), std::set<std::string>());
}

TEST_F(OpenModel, ALocalModelDescribesItselfFromTheFileAndTheUser)
{
    write(dir.file("office.ifc"), "x");
    const std::string key = "0abcdef123456789";
    const ProjectInfo info = LocalProject::describe(dir.file("office.ifc"), key);
    EXPECT_EQ(info.projectname, "office.ifc");
    EXPECT_EQ(info.groupname, "本地");
    EXPECT_EQ(info.groupid, "0abcdef1");
    EXPECT_EQ(info.projectid, 0xabcdef);
    EXPECT_EQ(info.qemid, static_cast<int32_t>(getuid()));
    EXPECT_FALSE(info.userName.empty());
    EXPECT_EQ(info.uploaderqemid, std::to_string(getuid()));
    EXPECT_FALSE(info.uploader.empty());
    ASSERT_EQ(info.uploadtime.size(), 16u) << info.uploadtime;  // yyyy-MM-dd hh:mm
    EXPECT_EQ(info.uploadtime[4], '-');
    EXPECT_EQ(info.uploadtime[13], ':');
    EXPECT_TRUE(info.signText.empty());
}
