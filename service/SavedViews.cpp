#include "service/SavedViews.h"

#include "Common/GraphicsContext.h"
#include "formats/TextHelpers.h"
#include "service/JsonText.h"
#include "service/SavedViewStore.h"
#include "service/WebService.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <cstdio>
#include <stdexcept>

namespace VeldaClient {

namespace {

const double kPi = 3.1415925;  // the user interface's constant, not pi
const char* const kMatrixKeys[16] = {"0", "1", "2", "3", "4", "5", "6", "7",
                                     "8", "9", "10", "11", "12", "13", "14", "15"};

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

// A value that is not finite would make the whole record unreadable, and
// with it every other view: such a value is written as 0.
void writeNumber(JsonWriter& writer, const char* key, double value)
{
    writer.Key(key);
    writer.Double(std::isfinite(value) ? value : 0.0);
}

void writeText(JsonWriter& writer, const char* key, const std::string& value)
{
    writer.Key(key);
    writer.String(value.c_str(), static_cast<rapidjson::SizeType>(value.size()));
}

bool hasNumber(const rapidjson::Value& root, const char* key)
{
    return root.HasMember(key) && root[key].IsNumber();
}

double numberOr(const rapidjson::Value& root, const char* key, double fallback)
{
    return hasNumber(root, key) ? root[key].GetDouble() : fallback;
}

// "errorid" present and other than 0: the service answered with a refusal.
bool isRefusal(const rapidjson::Value& root)
{
    if (!root.HasMember("errorid"))
        return false;
    const rapidjson::Value& id = root["errorid"];
    return !id.IsNumber() || id.GetDouble() != 0.0;
}

std::string scriptNumber(long double value)
{
    char text[108];
    std::snprintf(text, sizeof text, "%Lg", value);
    return text;
}

std::string scriptPoint(const Velda::Vector3& p)
{
    return "[" + scriptNumber(p.x) + "," + scriptNumber(p.y) + "," + scriptNumber(p.z) + "]";
}

std::string thumbnailTempPath(const SavedViewSlot* view)
{
    const int projectid = GraphicsContext::instance()->projectInfo()->projectid;
    return QDir::tempPath().toStdString() + "/" + std::to_string(projectid) + ".thumbnail." +
           std::to_string(view->number()) + ".png";
}

} // namespace

std::string serializeView(SavedViewSlot* view)
{
    if (!view)
        return std::string();
    Velda::Camera camera = view->camera();
    const Velda::Matrix4& matrix = camera.getTransform();
    const Velda::Vector3 target = view->target();

    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    for (int i = 0; i < 16; ++i)
        writeNumber(writer, kMatrixKeys[i], matrix[i]);
    writeNumber(writer, "x", target.x);
    writeNumber(writer, "y", target.y);
    writeNumber(writer, "z", target.z);
    writeNumber(writer, "znear", camera.getNear());
    writeNumber(writer, "zfar", camera.getFar());
    writeNumber(writer, "fov", camera.getFov() * 180.0 / kPi * 0.5);
    writeNumber(writer, "lr", view->lr());
    writeNumber(writer, "tr", view->tr());
    writer.Key("proj");
    writer.Int(camera.getProjectionType() == Velda::Camera::kPerspective ? 1 : 0);
    writeText(writer, "lstUser", Velda::wideToSystem(view->user()));
    writeText(writer, "lstQemid", view->qemidText());
    writeText(writer, "lstTime", view->time());
    ensureThumbnailUploaded(view);
    writeText(writer, "img", view->img());
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize());
}

std::string serializeAllViews(SavedViewGallery* gallery)
{
    if (!gallery)
        return std::string();
    rapidjson::StringBuffer buffer;
    JsonWriter writer(buffer);
    writer.StartObject();
    for (SavedViewSlot* view : gallery->viewSlots()) {
        if (!view->hasImage())
            continue;
        const std::string key = std::to_string(view->number());
        const std::string json = serializeView(view);
        writer.Key(key.c_str(), static_cast<rapidjson::SizeType>(key.size()));
        writer.String(json.c_str(), static_cast<rapidjson::SizeType>(json.size()));
    }
    writer.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize());
}

std::string exportViewsScript(SavedViewGallery* gallery)
{
    if (!gallery)
        return std::string();
    std::string script = "select (for c in cameras collect c)\n"
                         "if cameras.count > 0 do\n"
                         "(delete $\n"
                         "clearSelection())\n";
    for (SavedViewSlot* view : gallery->viewSlots())
        if (view->hasImage())
            script += viewScriptLine(view) + "\n";
    return script;
}

std::string viewScriptLine(SavedViewSlot* view)
{
    if (!view)
        return std::string();
    Velda::Camera camera = view->camera();
    const double degrees = camera.getFov() * 180.0 / kPi;
    // The target object never turns: its rotation is always the identity.
    return "Targetcamera name: \"QEMCam" + std::to_string(view->number()) + "\" fov:" + scriptNumber(degrees) +
           " nearclip:" + scriptNumber(camera.getNear()) + " farclip:" + scriptNumber(camera.getFar()) +
           " mpassEnabled:off mpassRenderPerPass:off pos:" + scriptPoint(camera.getPosition()) +
           " isSelected:on target : (Targetobject transform : (matrix3 " + scriptPoint(Velda::Vector3(1, 0, 0)) +
           scriptPoint(Velda::Vector3(0, 1, 0)) + scriptPoint(Velda::Vector3(0, 0, 1)) +
           scriptPoint(view->target()) + "))";
}

std::string captureViewThumbnail(SavedViewSlot* view)
{
    if (!view || !view->hasImage())
        return std::string();
    const QImage picture = view->picture();
    if (picture.isNull())
        return std::string();
    // Encoded once: the bytes hashed are the bytes written, not read back.
    QByteArray png;
    QBuffer buffer(&png);
    const std::string path = thumbnailTempPath(view);
    QFile file(QString::fromStdString(path));
    if (!buffer.open(QIODevice::WriteOnly) || !picture.save(&buffer, "PNG") || !file.open(QIODevice::WriteOnly) ||
        file.write(png) != png.size() || !file.flush())
        throw std::runtime_error("保存文件失败!");
    const std::string digest = QCryptographicHash::hash(png, QCryptographicHash::Md5).toHex().toStdString();
    if (digest == view->md5())
        return std::string();
    view->setMd5(digest);
    return path;
}

void ensureThumbnailUploaded(SavedViewSlot* view)
{
    if (!view || !view->changed())
        return;
    const std::string sent = view->md5();
    const std::string path = captureViewThumbnail(view);
    if (path.empty())
        return;
    // Until the service has the picture, its MD5 is not the one sent: a
    // failed upload is tried again at the next save instead of being
    // skipped as unchanged.
    std::string img;
    try {
        img = GraphicsContext::instance()->savedViewStore()->storeThumbnail(path);
    } catch (...) {
        view->setMd5(sent);
        throw;
    }
    if (img.empty()) {
        view->setMd5(sent);
        return;
    }
    view->setImg(img);
}

void applySavedViews(SavedViewGallery* gallery, const std::string& record)
{
    if (!gallery || record.empty())
        return;
    rapidjson::Document root;
    root.Parse(record.c_str(), record.size());
    if (root.HasParseError() || !root.IsObject() || isRefusal(root))
        return;
    for (SavedViewSlot* view : gallery->viewSlots()) {
        const std::string key = std::to_string(view->number());
        const std::string json = stringOr(root, key.c_str());
        if (!json.empty())
            restoreView(view, json);
    }
}

void restoreView(SavedViewSlot* view, const std::string& json)
{
    if (!view || json.empty())
        return;
    rapidjson::Document root;
    root.Parse(json.c_str(), json.size());
    if (root.HasParseError() || !root.IsObject() || isRefusal(root))
        return;

    // The matrix is read without a presence test: a missing element is 0.
    Velda::Matrix4 matrix;
    for (int i = 0; i < 16; ++i)
        matrix[i] = static_cast<float>(numberOr(root, kMatrixKeys[i], 0.0));
    Velda::Camera camera = view->camera();
    camera.setTransform(matrix);
    if (hasNumber(root, "znear"))
        camera.setNear(static_cast<float>(root["znear"].GetDouble()));
    if (hasNumber(root, "zfar"))
        camera.setFar(static_cast<float>(root["zfar"].GetDouble()));
    if (hasNumber(root, "fov")) {
        const double half = root["fov"].GetDouble();
        camera.setFov(static_cast<float>((half + half) / 180.0 * kPi));
    }
    view->setTarget(Velda::Vector3(static_cast<float>(numberOr(root, "x", 0.0)),
                                   static_cast<float>(numberOr(root, "y", 0.0)),
                                   static_cast<float>(numberOr(root, "z", 0.0))));
    if (hasNumber(root, "lr"))
        view->setLr(static_cast<float>(root["lr"].GetDouble()));
    if (hasNumber(root, "tr"))
        view->setTr(static_cast<float>(root["tr"].GetDouble()));
    if (hasNumber(root, "proj"))
        camera.setProjectionType(root["proj"].GetDouble() == 0.0 ? Velda::Camera::kOrthographic
                                                                  : Velda::Camera::kPerspective);
    view->setCamera(camera);
    view->setHasImage(true);

    if (hasString(root, "lstUser"))
        view->setUser(Velda::systemToWide(stringOr(root, "lstUser")));
    if (hasString(root, "lstQemid"))
        view->setQemidText(stringOr(root, "lstQemid"));
    if (hasString(root, "lstTime"))
        view->setTime(stringOr(root, "lstTime"));

    const std::string img = stringOr(root, "img");
    if (!img.empty()) {
        const std::string local = GraphicsContext::instance()->savedViewStore()->fetchThumbnail(img);
        const QString localFile = QString::fromStdString(local);
        view->setPicture(QImage(localFile));
        view->setMd5(WebService::fileMd5Hex(local));
        if (!local.empty())
            QFile::remove(localFile);
        view->setImg(img);
    }
    view->setChanged(false);
}

} // namespace VeldaClient
