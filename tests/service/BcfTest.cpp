// Saved views as BCF: cameras out and back in within a ten-thousandth of the
// scene, the exported file checked against the BCF 2.1 schemas, a BCF 3.0
// file read, and hostile files refused with one reason, writing nothing.
#include "service/BcfArchiveReader.h"
#include "service/BcfArchiveWriter.h"
#include "service/BcfError.h"
#include "service/BcfExporter.h"
#include "service/BcfImporter.h"
#include "service/BcfVisInfo.h"
#include "service/BcfXmlTree.h"

#include "Process.h"
#include "TempDir.h"

#include <gtest/gtest.h>

#include <QBuffer>
#include <QDateTime>
#include <QDir>
#include <QFile>

#include <cmath>
#include <filesystem>
#include <functional>
#include <map>
#include <set>

using namespace VeldaClient;
using Velda::Vector3;
using VeldaTest::TempDir;

namespace {

const double kPi = 3.14159265358979323846;
const float kSceneTolerance = 1e-4f * 10.0f;  // scenes are 10 units across
const char* const kGlobalId = "2O2Fr$t4X7Zf8NOew3FLOH";

Velda::Camera perspectiveAt(const Vector3& eye, const Vector3& target, double fovDegrees)
{
    Velda::Camera camera;
    camera.setPosition(eye);
    camera.lookAt(target, Vector3(0, 0, 1));
    camera.setPosition(eye);
    camera.setNear(0.01f);
    camera.setFar(15.0f);
    camera.setFov(static_cast<float>(fovDegrees / 180.0 * kPi));
    return camera;
}

Velda::Camera orthographicAt(const Vector3& eye, const Vector3& target, float halfHeight)
{
    Velda::Camera camera = perspectiveAt(eye, target, 60.0);
    camera.setProjectionType(Velda::Camera::kOrthographic);
    camera.setOrthoBounds(-halfHeight * 4 / 3, halfHeight * 4 / 3, -halfHeight, halfHeight);
    return camera;
}

QImage picture(QRgb colour, int width = 120, int height = 80)
{
    QImage image(width, height, QImage::Format_ARGB32);
    image.fill(colour);
    image.setPixel(3, 4, qRgb(1, 2, 3));  // a picture, not one colour
    return image;
}

BcfView view(int number, const Velda::Camera& camera, QRgb colour, std::vector<std::string> components = {})
{
    BcfView v;
    v.number = number;
    v.camera = camera;
    v.user = L"张三";
    v.time = "2026-11-22 09:15";
    v.picture = picture(colour);
    v.components = std::move(components);
    return v;
}

// A model in millimetres, 35 m across, and the viewer's camera as it starts.
BcfModelFrame millimetreModel()
{
    BcfModelFrame frame;
    frame.sceneScale = 10.0 / 35000.0;
    frame.metresPerUnit = 0.001;
    frame.sceneCentre = Vector3(0.5f, 0.5f, 1.0f);
    frame.camera = perspectiveAt(Vector3(0, -4, 2), Vector3(), 60.0);
    frame.camera.setOrthoBounds(-0.8f, 0.8f, -0.6f, 0.6f);
    return frame;
}

void expectSameCamera(Velda::Camera expected, Velda::Camera actual)
{
    EXPECT_EQ(expected.getProjectionType(), actual.getProjectionType());
    for (int i = 0; i < 16; ++i)
        EXPECT_NEAR(expected.getTransform()[i], actual.getTransform()[i], kSceneTolerance) << "element " << i;
    if (expected.getProjectionType() == Velda::Camera::kPerspective) {
        EXPECT_NEAR(expected.getFov(), actual.getFov(), 1e-5);
    } else {
        const Velda::Vector4 a = expected.getOrthoBounds(), b = actual.getOrthoBounds();
        EXPECT_NEAR(a.x, b.x, kSceneTolerance);
        EXPECT_NEAR(a.y, b.y, kSceneTolerance);
        EXPECT_NEAR(a.z, b.z, kSceneTolerance);
        EXPECT_NEAR(a.w, b.w, kSceneTolerance);
    }
}

void writeBytes(const std::string& path, const QByteArray& bytes)
{
    QFile file(QString::fromStdString(path));
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(bytes);
}

// Everything below a folder, files and folders alike.
std::set<std::string> everythingBelow(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& e : std::filesystem::recursive_directory_iterator(folder))
        names.insert(e.path().string());
    return names;
}

const char* const kTopic = "3d1e4e12-8e8a-4c8b-9a3e-1f2a3b4c5d6e";
const char* const kVersion21 = "<?xml version=\"1.0\"?><Version VersionId=\"2.1\"/>";
const char* const kMarkup21 =
    "<Markup><Topic Guid=\"3d1e4e12-8e8a-4c8b-9a3e-1f2a3b4c5d6e\"><Title>t</Title>"
    "<CreationDate>2026-01-02T03:04:05Z</CreationDate><CreationAuthor>a</CreationAuthor></Topic>"
    "<Viewpoints Guid=\"aa1e4e12-8e8a-4c8b-9a3e-1f2a3b4c5d6e\"><Viewpoint>viewpoint.bcfv</Viewpoint></Viewpoints>"
    "</Markup>";
const char* const kViewpoint =
    "<VisualizationInfo Guid=\"aa1e4e12-8e8a-4c8b-9a3e-1f2a3b4c5d6e\"><PerspectiveCamera>"
    "<CameraViewPoint><X>1</X><Y>2</Y><Z>3</Z></CameraViewPoint>"
    "<CameraDirection><X>0</X><Y>1</Y><Z>0</Z></CameraDirection>"
    "<CameraUpVector><X>0</X><Y>0</Y><Z>1</Z></CameraUpVector>"
    "<FieldOfView>60</FieldOfView></PerspectiveCamera></VisualizationInfo>";

// A sound BCF 2.1 file of one topic, with one entry replaced (or, with an
// empty text, left out) and others added.
QByteArray archiveWith(std::map<std::string, QByteArray> changes)
{
    std::map<std::string, QByteArray> entries = {{"bcf.version", kVersion21},
                                                 {std::string(kTopic) + "/markup.bcf", kMarkup21},
                                                 {std::string(kTopic) + "/viewpoint.bcfv", kViewpoint}};
    for (const auto& change : changes)
        entries[change.first] = change.second;
    BcfArchiveWriter zip;
    for (const auto& entry : entries)
        if (!entry.second.isNull())
            zip.add(entry.first, entry.second);
    return zip.finish();
}

// Makes every header of `name` claim `size` inflated bytes.
QByteArray claimSize(QByteArray zip, const std::string& name, quint32 size)
{
    const struct {
        const char* signature;
        int sizeAt, nameLengthAt, nameAt;
    } headers[] = {{"PK\x03\x04", 22, 26, 30}, {"PK\x01\x02", 24, 28, 46}};
    for (const auto& h : headers)
        for (int at = zip.indexOf(h.signature); at >= 0; at = zip.indexOf(h.signature, at + 4)) {
            const int length = static_cast<uchar>(zip[at + h.nameLengthAt]) | static_cast<uchar>(zip[at + h.nameLengthAt + 1]) << 8;
            if (zip.mid(at + h.nameAt, length).toStdString() != name)
                continue;
            for (int i = 0; i < 4; ++i)
                zip[at + h.sizeAt + i] = static_cast<char>((size >> (8 * i)) & 0xff);
        }
    return zip;
}

} // namespace

TEST(Bcf, CamerasComeBackWithinATenThousandthOfTheSceneInTheirPlacesOrder)
{
    TempDir dir;
    const Velda::Camera perspective = perspectiveAt(Vector3(3, -4, 2.5f), Vector3(0.5f, 0.2f, 0.3f), 50.0);
    const Velda::Camera orthographic = orthographicAt(Vector3(-2, 3, 6), Vector3(0, 0, 0), 1.7f);
    // Zoomed beyond the range the 2.1 schema names: kept as it is.
    const Velda::Camera wide = perspectiveAt(Vector3(1, 1, 1), Vector3(0, 0, 0.5f), 75.0);
    std::vector<BcfView> views = {view(2, perspective, qRgb(200, 10, 10), {kGlobalId, "3cUkl32yn9qRSPvBJVyWw5"}),
                                  view(5, orthographic, qRgb(10, 200, 10)),
                                  view(9, wide, qRgb(10, 10, 200), {"not a GlobalId", kGlobalId})};

    for (const BcfModelFrame& frame : {millimetreModel(), BcfModelFrame()}) {
        const std::string path = dir.file("views.bcf");
        ASSERT_TRUE(BcfExporter(frame).write(path, views));
        const std::vector<BcfView> back = BcfImporter(frame).read(path);
        ASSERT_EQ(back.size(), views.size());
        for (size_t i = 0; i < views.size(); ++i) {
            SCOPED_TRACE(views[i].number);
            expectSameCamera(views[i].camera, back[i].camera);
            EXPECT_EQ(back[i].user, L"张三");
            EXPECT_EQ(back[i].time, "2026-11-22 09:15");
            EXPECT_EQ(back[i].picture.convertToFormat(QImage::Format_ARGB32), views[i].picture);
            // The target lies on the line of sight, ahead of the camera.
            Velda::Camera camera = back[i].camera;
            const Vector3 toTarget = back[i].target - camera.getPosition();
            const Velda::Vector4 back2 = camera.getTransform().getColumn(2);
            EXPECT_GT(toTarget.length(), 0.4f);
            EXPECT_NEAR(toTarget.normalized().dot(Vector3(-back2.x, -back2.y, -back2.z)), 1.0f, 1e-5f);
        }
        EXPECT_EQ(back[0].components, (std::vector<std::string>{kGlobalId, "3cUkl32yn9qRSPvBJVyWw5"}));
        EXPECT_TRUE(back[1].components.empty());
        EXPECT_EQ(back[2].components, std::vector<std::string>{kGlobalId});
    }

    // In metres in the model's own coordinates: scene (3, -4, 2.5) is
    // 3.5 m a scene unit away from the model's origin.
    const std::string path = dir.file("metres.bcf");
    ASSERT_TRUE(BcfExporter(millimetreModel()).write(path, {views[0], views[1]}));
    const BcfArchiveReader archive(path);
    std::vector<BcfVisualization> read;
    for (const std::string& name : archive.names())
        if (name.find("viewpoint.bcfv") != std::string::npos)
            read.push_back(BcfVisInfo::read(BcfXmlTree::parse(archive.read(name, 1 << 20), name), name));
    ASSERT_EQ(read.size(), 2u);
    for (const BcfVisualization& v : read) {
        if (v.camera.kind == BcfCamera::kPerspective) {
            EXPECT_NEAR(v.camera.viewPoint.x, 10.5, 1e-4);
            EXPECT_NEAR(v.camera.viewPoint.y, -14.0, 1e-4);
            EXPECT_NEAR(v.camera.viewPoint.z, 8.75, 1e-4);
            EXPECT_NEAR(v.camera.fieldOfView, 50.0, 1e-4);
        } else {
            EXPECT_NEAR(v.camera.viewToWorldScale, 3.4 * 3.5, 1e-4);
        }
    }
}

TEST(Bcf, TheExportedFileHoldsWhatTheBcf21SchemasRequire)
{
    TempDir dir;
    const std::vector<BcfView> views = {
        view(1, perspectiveAt(Vector3(3, -4, 2.5f), Vector3(), 60.0), qRgb(1, 2, 3), {kGlobalId}),
        view(4, orthographicAt(Vector3(0, -1, 8), Vector3(), 2.0f), qRgb(4, 5, 6))};
    const std::string path = dir.file("views.bcf");
    ASSERT_TRUE(BcfExporter(millimetreModel()).write(path, views));
    // Written whole through a private temporary file, then readable by others.
    EXPECT_TRUE(QFile::permissions(QString::fromStdString(path)) & QFile::ReadOther);
    EXPECT_EQ(VeldaTest::filesBelow(dir.path()), std::set<std::string>{"views.bcf"});

    const BcfArchiveReader archive(path);
    std::set<std::string> folders;
    int documents = 0;
    for (const std::string& name : archive.names()) {
        const size_t slash = name.find('/');
        const std::string file = slash == std::string::npos ? name : name.substr(slash + 1);
        const std::map<std::string, std::string> schemas = {
            {"bcf.version", "version.xsd"}, {"markup.bcf", "markup.xsd"}, {"viewpoint.bcfv", "visinfo.xsd"}};
        if (slash != std::string::npos)
            folders.insert(name.substr(0, slash));
        if (file == "snapshot.png") {
            EXPECT_FALSE(QImage::fromData(archive.read(name, 1 << 20), "PNG").isNull());
            continue;
        }
        ASSERT_TRUE(schemas.count(file)) << name;
        const std::string copy = dir.file("entry-" + std::to_string(documents++) + ".xml");
        writeBytes(copy, archive.read(name, 1 << 20));
        const VeldaTest::ProcessResult check = VeldaTest::runProcess(
            {XMLLINT_PATH, "--noout", "--schema", std::string(BCF21_SCHEMAS) + "/" + schemas.at(file), copy});
        EXPECT_EQ(check.exitCode, 0) << name << ": " << check.err;
    }
    EXPECT_EQ(documents, 5);
    ASSERT_EQ(folders.size(), 2u);

    // Each folder is named by its topic's GUID and names its own files.
    for (const std::string& folder : folders) {
        const BcfXmlNode markup = BcfXmlTree::parse(archive.read(folder + "/markup.bcf", 1 << 20), "markup");
        EXPECT_EQ(markup.child("Topic")->attribute("Guid").toStdString(), folder);
        EXPECT_EQ(markup.child("Viewpoints")->childText("Viewpoint"), "viewpoint.bcfv");
        EXPECT_EQ(markup.child("Viewpoints")->childText("Snapshot"), "snapshot.png");
        EXPECT_EQ(markup.child("Topic")->childText("CreationAuthor"), "张三");
        EXPECT_TRUE(markup.child("Topic")->childText("CreationDate").startsWith("2026-11-22T09:15:00"));
    }
    EXPECT_EQ(BcfXmlTree::parse(archive.read("bcf.version", 1 << 20), "v").attribute("VersionId"), "2.1");
}

TEST(Bcf, ABcf30FileComesInWithItsSelectionAndAPlanViewKeepsItsHeading)
{
    TempDir dir;
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    ASSERT_TRUE(picture(qRgb(250, 250, 250), 640, 480).save(&buffer, "JPEG"));

    const std::string first = "0a5f2f3e-0000-4000-8000-000000000001", second = "0A5F2F3E-0000-4000-8000-000000000002";
    auto markup = [](const std::string& guid, int index, const char* viewpoint, const char* snapshot) {
        return QByteArray::fromStdString(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?><Markup xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">"
            "<Topic Guid=\"" + guid + "\" TopicType=\"Issue\" TopicStatus=\"Open\"><Title>墙</Title><Index>" +
            std::to_string(index) + "</Index><CreationDate>2025-03-04T05:06:07.250+00:00</CreationDate>"
            "<CreationAuthor>li@example.com</CreationAuthor><Viewpoints><ViewPoint Guid=\"" + guid + "\"><Viewpoint>" +
            viewpoint + "</Viewpoint>" + (snapshot ? std::string("<Snapshot>") + snapshot + "</Snapshot>" : "") +
            "</ViewPoint></Viewpoints></Topic></Markup>");
    };
    const char* perspective =
        "<VisualizationInfo Guid=\"0a5f2f3e-0000-4000-8000-000000000001\"><Components><Selection>"
        "<Component IfcGuid=\"2O2Fr$t4X7Zf8NOew3FLOH\"/><Component IfcGuid=\"short\"/></Selection>"
        "<Visibility DefaultVisibility=\"true\"><ViewSetupHints SpacesVisible=\"false\"/></Visibility></Components>"
        "<PerspectiveCamera><CameraViewPoint><X>7</X><Y>-7</Y><Z>3.5</Z></CameraViewPoint>"
        "<CameraDirection><X>-1</X><Y>1</Y><Z>0</Z></CameraDirection><CameraUpVector><X>0</X><Y>0</Y><Z>1</Z>"
        "</CameraUpVector><FieldOfView>90</FieldOfView><AspectRatio>1.78</AspectRatio></PerspectiveCamera>"
        "</VisualizationInfo>";
    const char* plan =
        "<VisualizationInfo Guid=\"0a5f2f3e-0000-4000-8000-000000000002\"><OrthogonalCamera>"
        "<CameraViewPoint><X>0</X><Y>0</Y><Z>35</Z></CameraViewPoint><CameraDirection><X>0</X><Y>0</Y><Z>-1</Z>"
        "</CameraDirection><CameraUpVector><X>0</X><Y>1</Y><Z>0</Z></CameraUpVector>"
        "<ViewToWorldScale>7</ViewToWorldScale><AspectRatio>1.5</AspectRatio></OrthogonalCamera></VisualizationInfo>";
    BcfArchiveWriter zip;
    zip.add("bcf.version", "<Version VersionId=\"3.0\"/>");
    zip.add("documents.xml", "<DocumentInfo/>");
    // Stored first, shown second: the topics' indices order them.
    zip.add(first + "/markup.bcf", markup(first, 2, "a.bcfv", "a.jpg"));
    zip.add(first + "/a.bcfv", perspective);
    zip.add(first + "/a.jpg", jpeg);
    zip.add(second + "/markup.bcf", markup(second, 1, "plan.bcfv", nullptr));
    zip.add(second + "/plan.bcfv", plan);
    const std::string path = dir.file("three.bcf");
    writeBytes(path, zip.finish());

    const std::vector<BcfView> views = BcfImporter(millimetreModel()).read(path);
    ASSERT_EQ(views.size(), 2u);
    // The plan: straight down in the file, a hair off it here so that the
    // viewer's flight keeps its heading (north up); 7 m high is 2 scene units.
    Velda::Camera plan2 = views[0].camera;
    EXPECT_EQ(plan2.getProjectionType(), Velda::Camera::kOrthographic);
    EXPECT_NEAR(plan2.getPosition().z, 10.0f, kSceneTolerance);
    EXPECT_NEAR(plan2.getTransform()[10], 1.0f, 1e-5f);
    EXPECT_NEAR(plan2.getTransform()[5], 1.0f, 1e-5f);  // screen up is +y
    EXPECT_NEAR(plan2.getOrthoBounds().w - plan2.getOrthoBounds().z, 2.0f, kSceneTolerance);
    EXPECT_NEAR(plan2.getOrthoBounds().y / plan2.getOrthoBounds().w, 0.8f / 0.6f, 1e-5f);
    EXPECT_EQ(views[0].picture.size(), QSize(120, 80));
    EXPECT_NEAR(views[0].target.z, 1.0f, 1e-3f);  // at the scene centre's height

    const BcfView& wall = views[1];
    Velda::Camera camera = wall.camera;
    EXPECT_NEAR((camera.getPosition() - Vector3(2, -2, 1)).length(), 0.0f, kSceneTolerance);
    EXPECT_NEAR(camera.getFov(), kPi / 2, 1e-5);
    EXPECT_EQ(wall.components, std::vector<std::string>{kGlobalId});
    EXPECT_EQ(wall.user, L"li@example.com");
    EXPECT_EQ(wall.time, QDateTime(QDate(2025, 3, 4), QTime(5, 6, 7), Qt::UTC).toLocalTime().toString("yyyy-MM-dd hh:mm").toStdString());
    EXPECT_EQ(wall.picture.size(), QSize(120, 80));
    EXPECT_GT(qRed(wall.picture.pixel(60, 40)), 240);
}

TEST(Bcf, HostileFilesAreRefusedWithOneReasonAndWriteNothing)
{
    TempDir inputs, temp, work;
    const std::string topic = kTopic;
    QByteArray bomb(65 << 20, '\0');
    // A viewpoint that says 100 bytes and inflates to a mebibyte.
    const QByteArray lying = claimSize(
        archiveWith({{topic + "/viewpoint.bcfv", QByteArray(kViewpoint) + QByteArray(1 << 20, ' ')}}),
        topic + "/viewpoint.bcfv", 100);
    std::map<std::string, QByteArray> many;
    for (int i = 0; i < 4100; ++i)
        many["n" + std::to_string(i)] = "x";
    const char* laughs = "<?xml version=\"1.0\"?><!DOCTYPE VisualizationInfo [<!ENTITY a \"aaaaaaaaaa\">"
                         "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">]><VisualizationInfo Guid=\"&b;\"/>";

    struct Case {
        const char* what;
        QByteArray bytes;
        const char* reason;  // a part of the message
    };
    const std::vector<Case> cases = {
        {"not a zip", "PK\x03\x04 this is no archive at all", "不是有效的 BCF 压缩包"},
        {"an entry that inflates to 65 MiB", archiveWith({{"huge.bin", bomb}}), "解压后过大"},
        {"an entry that inflates beyond its declared size", lying, "解压后过大"},
        {"too many entries", archiveWith(many), "条目过多"},
        {"a parent folder", archiveWith({{"../evil.txt", "x"}}), "不安全的条目名称: ../evil.txt"},
        {"a parent folder inside a topic", archiveWith({{topic + "/../../evil.txt", "x"}}), "不安全的条目名称"},
        {"an absolute name", archiveWith({{"/tmp/evil.txt", "x"}}), "不安全的条目名称"},
        {"backslashes", archiveWith({{"..\\evil.txt", "x"}}), "不安全的条目名称"},
        {"a drive letter", archiveWith({{"C:/evil.txt", "x"}}), "不安全的条目名称"},
        {"no bcf.version", archiveWith({{"bcf.version", QByteArray()}}), "缺少 bcf.version"},
        {"a topic without markup", archiveWith({{topic + "/markup.bcf", QByteArray()}}), "主题缺少 markup.bcf"},
        {"a topic without its viewpoint", archiveWith({{topic + "/viewpoint.bcfv", QByteArray()}}), "缺少视点文件"},
        {"a viewpoint named out of its folder",
         archiveWith({{topic + "/markup.bcf", QByteArray(kMarkup21).replace("viewpoint.bcfv", "../x.bcfv")}}),
         "不安全的文件名"},
        {"bad XML", archiveWith({{topic + "/markup.bcf", "<Markup><Topic Guid=\"x\"></Markup>"}}), "XML 格式错误"},
        {"a DTD with entities", archiveWith({{topic + "/viewpoint.bcfv", laughs}}), "DTD"},
        {"a DTD without entities",
         archiveWith({{"bcf.version", "<!DOCTYPE Version SYSTEM \"file:///etc/passwd\"><Version VersionId=\"2.1\"/>"}}),
         "DTD"},
        {"a camera of words",
         archiveWith({{topic + "/viewpoint.bcfv", QByteArray(kViewpoint).replace("<X>1</X>", "<X>one</X>")}}),
         "相机数据无效"},
        {"a snapshot that is no picture",
         archiveWith({{topic + "/markup.bcf", QByteArray(kMarkup21).replace("</Viewpoint>",
                                                                            "</Viewpoint><Snapshot>s.png</Snapshot>")},
                      {topic + "/s.png", "not a picture"}}),
         "快照图片无法读取"},
        {"an unknown version", archiveWith({{"bcf.version", "<Version VersionId=\"9.9\"/>"}}), "不支持的 BCF 版本"},
    };

    // The sound file the cases are made from comes in.
    writeBytes(inputs.file("sound.bcf"), archiveWith({}));
    ASSERT_EQ(BcfImporter(BcfModelFrame()).read(inputs.file("sound.bcf")).size(), 1u);

    const VeldaTest::ScopedEnv tmpdir("TMPDIR", temp.path());
    const std::filesystem::path home = std::filesystem::current_path();
    std::filesystem::current_path(work.path());
    const std::set<std::string> tempBefore = everythingBelow(QDir::tempPath().toStdString());
    for (size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].what);
        ASSERT_FALSE(cases[i].bytes.isEmpty());
        const std::string path = inputs.file("case" + std::to_string(i) + ".bcf");
        writeBytes(path, cases[i].bytes);
        std::string reason;
        try {
            BcfImporter(BcfModelFrame()).read(path);
        } catch (const BcfError& e) {
            reason = e.what();
        }
        EXPECT_NE(reason.find(cases[i].reason), std::string::npos) << reason;
        EXPECT_EQ(reason.find('\n'), std::string::npos);
    }
    EXPECT_EQ(everythingBelow(QDir::tempPath().toStdString()), tempBefore);
    EXPECT_TRUE(everythingBelow(work.path()).empty());
    EXPECT_FALSE(VeldaTest::exists(inputs.file("evil.txt")));
    std::filesystem::current_path(home);
}
