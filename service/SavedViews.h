#pragma once

#include "service/SavedViewSlot.h"

#include <string>

namespace VeldaClient {

// The persistent forms of the saved views: the record the service keeps
// (a JSON object of JSON texts, one per filled place), the thumbnail files
// and the 3ds Max script made from the same data.

// The JSON text of one view; uploads its picture first when it changed, so
// that "img" is fresh. Empty for a null slot. Throws what the upload throws.
std::string serializeView(SavedViewSlot* view);
// {"<number>": "<view JSON>", ...} for every place that holds a view; "{}"
// when none does, empty for a null gallery.
std::string serializeAllViews(SavedViewGallery* gallery);
// The whole script: four fixed lines that delete the scene's cameras, then
// one line per filled place. Empty for a null gallery.
std::string exportViewsScript(SavedViewGallery* gallery);
// One "Targetcamera ..." line without its line feed; numbers by "%Lg".
std::string viewScriptLine(SavedViewSlot* view);
// Writes the picture to "<temp>/<projectid>.thumbnail.<number>.png" and
// returns that path, or empty when the place holds no view, shows no
// picture, or the file's MD5 equals the stored one (nothing to upload).
// Throws std::runtime_error("保存文件失败!") when the file can't be written.
std::string captureViewThumbnail(SavedViewSlot* view);
// For a changed view: capture, upload, and keep the service's path as img.
void ensureThumbnailUploaded(SavedViewSlot* view);
// Restores every place the record names; a broken record restores nothing.
void applySavedViews(SavedViewGallery* gallery, const std::string& record);
// One view from its JSON text, with its picture fetched from the service;
// it counts as unchanged afterwards.
void restoreView(SavedViewSlot* view, const std::string& json);

} // namespace VeldaClient
