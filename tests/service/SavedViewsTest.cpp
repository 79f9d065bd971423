// The saved views' persistent forms (the record JSON in both directions, the
// camera script, the thumbnails) and the web calls that carry them.
#include "Common/GraphicsContext.h"
#include "jobs/FileHelpers.h"
#include "service/LocalViewStore.h"
#include "service/SavedViews.h"
#include "service/WebService.h"

#include "LocalServer.h"
#include "ServiceHarness.h"
#include "TempDir.h"

#include <gtest/gtest.h>
#include <rapidjson/document.h>

#include <QCryptographicHash>
#include <QDir>
#include <QImage>

#include <atomic>
#include <limits>
#include <memory>
#include <stdexcept>
#include <sys/stat.h>

using namespace VeldaClient;
using VeldaTest::ScopedEnv;
using VeldaTest::exists;

namespace {

const double kPi = 3.1415925;

// A place for a view with the flag rules of the gallery's buttons.
class TestSlot : public SavedViewSlot {
public:
    explicit TestSlot(int n) : n_(n) {}
    int number() const override { return n_; }
    Velda::Camera camera() const override { return camera_; }
    void setCamera(const Velda::Camera& c) override { camera_ = c; }
    Velda::Vector3 target() const override { return target_; }
    void setTarget(const Velda::Vector3& t) override { change(target_, t); }
    float lr() const override { return lr_; }
    void setLr(float a) override { change(lr_, a); }
    float tr() const override { return tr_; }
    void setTr(float a) override { change(tr_, a); }
    std::wstring user() const override { return user_; }
    void setUser(const std::wstring& u) override { change(user_, u); }
    std::string qemidText() const override { return qemid_; }
    void setQemidText(const std::string& q) override { change(qemid_, q); }
    std::string time() const override { return time_; }
    void setTime(const std::string& t) override { change(time_, t); }
    std::string md5() const override { return md5_; }
    void setMd5(const std::string& m) override { change(md5_, m); }
    std::string img() const override { return img_; }
    void setImg(const std::string& i) override { img_ = i; }
    bool changed() const override { return changed_; }
    void setChanged(bool c) override { changed_ = c; }
    bool hasImage() const override { return hasImage_; }
    void setHasImage(bool h) override { change(hasImage_, h); }
    QImage picture() const override { return picture_; }
    void setPicture(const QImage& p) override
    {
        picture_ = p;
        hasImage_ = changed_ = true;
    }

private:
    template <typename T>
    void change(T& field, const T& value)
    {
        changed_ = changed_ || !(field == value);
        field = value;
    }
    int n_;
    Velda::Camera camera_;
    Velda::Vector3 target_;
    float lr_ = 0, tr_ = 0;
    std::wstring user_;
    std::string qemid_, time_, md5_, img_;
    bool changed_ = false, hasImage_ = false;
    QImage picture_;
};

class TestGallery : public SavedViewGallery {
public:
    TestGallery()
    {
        for (int i = 1; i <= 10; ++i)
            slots_.emplace_back(new TestSlot(i));
    }
    std::vector<SavedViewSlot*> viewSlots() const override
    {
        std::vector<SavedViewSlot*> all;
        for (const auto& s : slots_)
            all.push_back(s.get());
        return all;
    }
    TestSlot& at(int number) { return *slots_[static_cast<size_t>(number - 1)]; }

private:
    std::vector<std::unique_ptr<TestSlot>> slots_;
};

QImage picture(QRgb colour)
{
    QImage image(120, 80, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

// A view as a user takes it: a turned camera standing at `position`.
void fill(TestSlot& view, const Velda::Vector3& position, QRgb colour)
{
    Velda::Camera camera;
    camera.rotateZ(0.5f);
    camera.setPosition(position);
    camera.setNear(0.1f);
    camera.setFar(1000.0f);
    camera.setFov(static_cast<float>(45.0 / 180.0 * kPi));
    view.setCamera(camera);
    view.setPicture(picture(colour));
    view.setTarget(Velda::Vector3(1, 2, 3));
    view.setLr(5.5f);
    view.setTr(2.25f);
    view.setUser(L"张三");
    view.setQemidText("1001");
    view.setTime("2026-11-22 09:15");
}

rapidjson::Document parse(const std::string& text)
{
    rapidjson::Document d;
    d.Parse(text.c_str());
    return d;
}

// What a call throws; "no failure" when it throws nothing.
template <typename Call>
std::string failureOf(Call call)
{
    try {
        call();
    } catch (const std::exception& e) {
        return e.what();
    }
    return "no failure";
}

// A signed-in session, and a temp folder of the test's own.
class SavedViews : public ::testing::Test {
protected:
    SavedViews() : session("QEM_SESSION", dir.file("session.json")), temp("TMPDIR", dir.path())
    {
        GraphicsContext::destroyInstance();
        EXPECT_TRUE(VeldaTest::ServiceHarness::signIn());
    }
    ~SavedViews() override { GraphicsContext::destroyInstance(); }

    VeldaTest::TempDir dir;
    ScopedEnv session;
    ScopedEnv temp;
};

// A storage and confirmation service that counts its uploads and
// misbehaves on request. Without headers of the test's choosing the PUT
// answers with the body's MD5 as the ETag, as a store does.
class FakeStorage {
public:
    FakeStorage()
    {
        server.http.Get("/project/getshoticonuploadurl.action", [this](const httplib::Request&, httplib::Response& res) {
            res.set_content(addressReply.empty() ? "{\"uploadurl\":\"" + server.url() + "/put\"}" : addressReply,
                            "application/json");
        });
        server.http.Put("/put", [this](const httplib::Request& req, httplib::Response& res) {
            ++uploads;
            const QByteArray digest =
                QCryptographicHash::hash(QByteArray::fromStdString(req.body), QCryptographicHash::Md5).toHex().toUpper();
            if (headers.empty())
                res.set_header("ETag", "\"" + digest.toStdString() + "\"");
            for (const auto& h : headers)
                res.set_header(h.first.c_str(), h.second);
        });
        server.http.Get("/project/uploadshoticonfinished.action", [this](const httplib::Request& req, httplib::Response& res) {
            res.set_content(confirmReply.empty() ? "{\"errorid\":0,\"path\":\"" + req.get_param_value("md5") + ".png\"}"
                                                 : confirmReply,
                            "application/json");
        });
        server.start();
    }
    std::atomic<int> uploads{0};
    std::string addressReply, confirmReply;
    std::vector<std::pair<std::string, std::string>> headers;
    VeldaTest::LocalServer server;  // last: it stops before what its handlers use goes
};

const char* const kScriptHead = "select (for c in cameras collect c)\n"
                                "if cameras.count > 0 do\n"
                                "(delete $\n"
                                "clearSelection())\n";

} // namespace

TEST_F(SavedViews, TheScriptIsItsHeadAndALinePerViewOfSixSignificantDigits)
{
    TestGallery gallery;
    EXPECT_EQ(serializeAllViews(&gallery), "{}");
    EXPECT_EQ(exportViewsScript(&gallery), kScriptHead);
    EXPECT_EQ(serializeAllViews(nullptr) + exportViewsScript(nullptr) + serializeView(nullptr) + viewScriptLine(nullptr),
              "");  // nothing for nothing
    // A place with data but no picture flag is no view.
    gallery.at(4).setTarget(Velda::Vector3(1, 1, 1));
    EXPECT_EQ(serializeAllViews(&gallery), "{}");
    EXPECT_EQ(captureViewThumbnail(&gallery.at(4)), "");

    fill(gallery.at(3), Velda::Vector3(1234567.0f, -0.5f, 2.0f), qRgb(200, 0, 0));
    fill(gallery.at(7), Velda::Vector3(0.000012345678f, 10.0f, 1e-9f), qRgb(0, 200, 0));
    const std::string line3 =
        "Targetcamera name: \"QEMCam3\" fov:45 nearclip:0.1 farclip:1000 mpassEnabled:off mpassRenderPerPass:off "
        "pos:[1.23457e+06,-0.5,2] isSelected:on target : (Targetobject transform : (matrix3 "
        "[1,0,0][0,1,0][0,0,1][1,2,3]))";
    EXPECT_EQ(viewScriptLine(&gallery.at(3)), line3);
    const std::string line7 = viewScriptLine(&gallery.at(7));
    EXPECT_NE(line7.find("pos:[1.23457e-05,10,1e-09]"), std::string::npos) << line7;
    EXPECT_EQ(exportViewsScript(&gallery), std::string(kScriptHead) + line3 + "\n" + line7 + "\n");
}

TEST_F(SavedViews, AViewGoesToJsonAndComesBack)
{
    TestSlot view(2);
    fill(view, Velda::Vector3(4, -5, 6), qRgb(10, 20, 30));
    view.setChanged(false);  // as after a save: nothing to upload
    const std::string json = serializeView(&view);
    const rapidjson::Document d = parse(json);
    ASSERT_TRUE(d.IsObject()) << json;
    // The members in their order: matrix, target, planes, half fov, sun, type, user.
    const char* order[] = {"0", "1", "2", "3", "4", "5", "6", "7", "8", "9", "10", "11", "12", "13", "14", "15",
                           "x", "y", "z", "znear", "zfar", "fov", "lr", "tr", "proj", "lstUser", "lstQemid",
                           "lstTime", "img"};
    int i = 0;
    for (auto m = d.MemberBegin(); m != d.MemberEnd(); ++m, ++i)
        EXPECT_STREQ(m->name.GetString(), order[i]);
    EXPECT_EQ(i, 29);
    EXPECT_NEAR(d["fov"].GetDouble(), 22.5, 1e-5);
    EXPECT_EQ(d["proj"].GetInt(), 1);  // perspective
    EXPECT_DOUBLE_EQ(d["12"].GetDouble(), 4.0);
    EXPECT_EQ(std::string(d["lstUser"].GetString()), "张三");

    // Every member comes back. Without "img" the camera is there, the
    // picture not, and the place counts as an unchanged view.
    TestSlot back(2);
    restoreView(&back, json);
    EXPECT_EQ(back.camera().getTransform(), view.camera().getTransform());
    EXPECT_EQ(serializeView(&back), json);
    EXPECT_TRUE(back.hasImage());
    EXPECT_TRUE(back.picture().isNull());
    EXPECT_FALSE(back.changed());

    // Half the field of view is stored, orthographic is 0, absent keys keep
    // what was there, and without a matrix every element reads as 0.
    TestSlot read(1);
    restoreView(&read, R"({"fov":22.5,"proj":0,"znear":0.5,"lr":1.5})");
    Velda::Camera camera = read.camera();
    EXPECT_NEAR(camera.getFov() * 180.0 / kPi, 45.0, 1e-5);
    EXPECT_EQ(camera.getProjectionType(), static_cast<int32_t>(Velda::Camera::kOrthographic));
    EXPECT_EQ(camera.getNear(), 0.5f);
    EXPECT_EQ(read.lr(), 1.5f);
    EXPECT_EQ(read.tr(), 0.0f);
    EXPECT_EQ(camera.getTransform(), Velda::Matrix4(0.0f));
    EXPECT_TRUE(read.hasImage());

    // A number that is not finite is written as 0, so the rest stays readable.
    TestSlot odd(5);
    Velda::Camera broken;
    broken.setFov(std::numeric_limits<float>::quiet_NaN());
    odd.setCamera(broken);
    odd.setLr(std::numeric_limits<float>::infinity());
    odd.setChanged(false);
    const rapidjson::Document oddJson = parse(serializeView(&odd));
    ASSERT_TRUE(oddJson.IsObject());
    EXPECT_EQ(oddJson["fov"].GetDouble(), 0.0);
    EXPECT_EQ(oddJson["lr"].GetDouble(), 0.0);
}

TEST_F(SavedViews, BrokenRecordsRestoreNothing)
{
    for (const char* record : {"", "not json", "[1,2]", R"({"errorid":3,"1":"{\"x\":1}"})",
                               R"({"errorid":"x","1":"{\"x\":1}"})", R"({"1":""})", R"({"1":5})", R"({"1":"[]"})",
                               R"({"1":"{\"errorid\":1,\"x\":1}"})", R"({"1":"{broken"})"}) {
        TestGallery gallery;
        applySavedViews(&gallery, record);
        for (SavedViewSlot* view : gallery.viewSlots()) {
            EXPECT_FALSE(view->hasImage()) << record;
            EXPECT_EQ(view->target(), Velda::Vector3()) << record;
        }
    }
    applySavedViews(nullptr, "{}");
    restoreView(nullptr, "{}");

    // errorid 0 is no refusal; only named places are touched.
    TestGallery gallery;
    applySavedViews(&gallery, R"({"errorid":0,"3":"{\"x\":7}","11":"{\"x\":1}"})");
    EXPECT_TRUE(gallery.at(3).hasImage());
    EXPECT_EQ(gallery.at(3).target().x, 7.0f);
    for (int n : {1, 2, 4, 5, 6, 7, 8, 9, 10})
        EXPECT_FALSE(gallery.at(n).hasImage()) << n;
}

TEST_F(SavedViews, RecordsScriptsAndThumbnailsThroughTheService)
{
    VeldaTest::ServiceHarness service;
    ScopedEnv url("QEM_SERVICE_URL", service.url());
    EXPECT_EQ(WebService::commonQuery(), "projectid=7&qemid=1001&sign=sign-1");
    EXPECT_EQ(WebService::readRecordInfo(), "");  // nothing saved yet

    // Texts go out unescaped and come back byte for byte.
    const std::string record =
        R"({"1":"{\"0\":1.0,\"lstUser\":\"张三\",\"img\":\"a+b%20c.png\"}","2":"x=1&y=2+3%","名":"水 面"})";
    WebService::saveRecord(record);
    EXPECT_EQ(WebService::readRecordInfo(), record);
    WebService::saveRecord("");  // an empty text is not sent
    EXPECT_EQ(WebService::readRecordInfo(), record);
    const std::string script =
        "select (for c in cameras collect c)\nTargetcamera name: \"QEMCam1\" fov:45 pos:[1,2,3] a+b=c&d%25 水\n";
    WebService::saveCameras(script);
    const rapidjson::Document cameras = parse(WebService::readCameras());
    ASSERT_TRUE(cameras.IsObject());
    EXPECT_EQ(std::string(cameras["camerainfo"].GetString(), cameras["camerainfo"].GetStringLength()), script);

    // A picture goes up named by its MD5 (the gallery's tests see it come
    // back); neither the upload's file nor the download's is left behind.
    TestGallery gallery;
    fill(gallery.at(4), Velda::Vector3(-1, 0, 9), qRgb(40, 40, 200));
    WebService::saveRecord(serializeAllViews(&gallery));
    EXPECT_EQ(gallery.at(4).img(), gallery.at(4).md5() + ".png");
    EXPECT_FALSE(exists(dir.file("7.thumbnail.4.png")));
    TestGallery reopened;
    applySavedViews(&reopened, WebService::readRecordInfo());
    EXPECT_EQ(reopened.at(4).md5(), gallery.at(4).md5());
    EXPECT_FALSE(reopened.at(4).picture().isNull());
    EXPECT_FALSE(exists(dir.file(reopened.at(4).img())));
    EXPECT_EQ(WebService::uploadThumbnail(""), "");
    EXPECT_EQ(WebService::downloadThumbnail(""), "");
    EXPECT_EQ(WebService::downloadThumbnail("../escape.png"), "");  // never outside the temp folder
}

TEST_F(SavedViews, AnUnchangedPictureGoesUpOnceAndRefusalsCarryTheirTexts)
{
    FakeStorage storage;
    ScopedEnv url("QEM_SERVICE_URL", storage.server.url());
    TestGallery gallery;
    fill(gallery.at(6), Velda::Vector3(1, 1, 1), qRgb(90, 90, 90));
    serializeAllViews(&gallery);
    EXPECT_EQ(storage.uploads, 1);
    // The flag is still up, but the picture's MD5 is the one sent.
    serializeAllViews(&gallery);
    EXPECT_EQ(storage.uploads, 1);

    // A refused upload abandons the save; the next save tries the picture again.
    gallery.at(6).setPicture(picture(qRgb(10, 200, 10)));
    storage.headers = {{"ETag", "\"0\""}};
    EXPECT_EQ(failureOf([&] { serializeAllViews(&gallery); }), "MD5校验失败!");
    EXPECT_EQ(storage.uploads, 2);
    EXPECT_TRUE(gallery.at(6).changed());
    storage.headers.clear();
    const std::string record = serializeAllViews(&gallery);
    EXPECT_EQ(storage.uploads, 3);
    EXPECT_EQ(gallery.at(6).img(), gallery.at(6).md5() + ".png");
    EXPECT_NE(record.find(gallery.at(6).img()), std::string::npos);

    // Each refusal carries its text: `upload` gives it, or "path " and what
    // the upload gave.
    const std::string local = dir.file("7.thumbnail.9.png");
    const auto upload = [&] {
        Velda::writeTextFile(local, "picture");
        std::string path;
        const std::string failure = failureOf([&] { path = WebService::uploadThumbnail(local); });
        return failure == "no failure" ? "path " + path : failure;
    };
    const std::string upper = QCryptographicHash::hash("picture", QCryptographicHash::Md5).toHex().toUpper().toStdString();

    storage.headers = {{"X-Other", "1"}};
    EXPECT_EQ(upload(), "ETag返回失败!");
    storage.headers = {{"ETag", "\"0123456789ABCDEF0123456789ABCDEF\""}};
    EXPECT_EQ(upload(), "MD5校验失败!");
    EXPECT_TRUE(exists(local));  // a refused upload leaves the file
    // The check is a plain search through all headers.
    storage.headers = {{"ETag", "\"wrong\""}, {"X-Checksum", upper}};
    storage.confirmReply = "{\"errorid\":5,\"errmsg\":\"磁盘已满\"}";
    EXPECT_EQ(upload(), "保存缩略图失败! 磁盘已满");
    EXPECT_FALSE(exists(local));  // removed before the confirmation failed
    storage.confirmReply = "not an object";
    EXPECT_EQ(upload(), "path ");
    storage.confirmReply = "{\"errorid\":9}";
    EXPECT_EQ(upload(), "{\"errorid\":9}");

    storage.addressReply = "{\"errorid\":3,\"errmsg\":\"没有权限\"}";
    EXPECT_EQ(upload(), "获取上传缩略图地址失败! 没有权限");
    storage.addressReply = "{\"errorid\":3}";
    EXPECT_EQ(upload(), "获取上传缩略图地址失败!");
    storage.addressReply = "[]";
    EXPECT_EQ(upload(), "path ");
    EXPECT_FALSE(exists(local));  // a reply that is no object removes the file

    // A folder in the file's place: no writer gets past it, root included.
    QDir().mkpath(QString::fromStdString(dir.file("7.thumbnail.2.png")));
    fill(gallery.at(2), Velda::Vector3(1, 1, 1), qRgb(1, 2, 3));
    EXPECT_EQ(failureOf([&] { captureViewThumbnail(&gallery.at(2)); }), "保存文件失败!");
}

// A model opened from a file keeps its views on this machine: the same save
// and restore through the local store, per model, the database the owner's
// only, a deleted view's picture dropped, failures in the user's words.
TEST_F(SavedViews, KeptOnThisMachineForAModelOpenedFromAFile)
{
    ProjectInfo info;
    info.projectid = 99;
    GraphicsContext* hub = GraphicsContext::instance();
    hub->presetProjectInfo(info);
    EXPECT_EQ(hub->projectInfo()->projectid, 99);  // no sign module asked
    const std::string database = dir.file("SavedViews.db");
    hub->setSavedViewStore(std::make_unique<LocalViewStore>(database, "model-a"));
    SavedViewStore* store = hub->savedViewStore();
    EXPECT_FALSE(store->followsClient());
    EXPECT_TRUE(store->canSave());
    EXPECT_EQ(store->readRecord(), "");

    TestGallery gallery;
    fill(gallery.at(4), Velda::Vector3(-1, 0, 9), qRgb(40, 40, 200));
    fill(gallery.at(6), Velda::Vector3(5, 5, 5), qRgb(200, 40, 40));
    store->saveRecord(serializeAllViews(&gallery));
    store->saveScript(exportViewsScript(&gallery));
    EXPECT_EQ(gallery.at(4).img(), gallery.at(4).md5() + ".png");
    EXPECT_FALSE(exists(dir.file("99.thumbnail.4.png")));
    struct stat status {};
    ASSERT_EQ(stat(database.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    TestGallery reopened;
    applySavedViews(&reopened, store->readRecord());
    EXPECT_EQ(reopened.at(4).md5(), gallery.at(4).md5());
    EXPECT_EQ(reopened.at(6).picture().pixel(5, 5), qRgb(200, 40, 40));
    EXPECT_FALSE(reopened.at(6).changed());
    EXPECT_FALSE(exists(dir.file(reopened.at(6).img())));
    EXPECT_EQ(static_cast<LocalViewStore*>(store)->readScript(), exportViewsScript(&gallery));
    EXPECT_EQ(LocalViewStore(database, "model-b").readRecord(), "");  // another model's views are its own

    // View 4 deleted and saved: its picture leaves the database, 6's stays.
    const std::string dropped = gallery.at(4).img();
    gallery.at(4).setHasImage(false);
    store->saveRecord(serializeAllViews(&gallery));
    EXPECT_EQ(store->fetchThumbnail(dropped), "");
    const std::string kept = store->fetchThumbnail(gallery.at(6).img());
    EXPECT_EQ(kept, dir.file(gallery.at(6).img()));
    EXPECT_EQ(WebService::fileMd5Hex(kept) + ".png", gallery.at(6).img());
    EXPECT_EQ(store->fetchThumbnail("../escape.png"), "");

    // A database that cannot be made shows no views and refuses a save in the user's words.
    LocalViewStore broken(dir.file("no/such/folder/SavedViews.db"), "model-a");
    EXPECT_EQ(broken.readRecord(), "");
    EXPECT_EQ(failureOf([&]() { broken.saveRecord("{}"); }).rfind("保存视图失败! ", 0), 0u);
}
