#pragma once

#include "RenderOptions.h"

#include <string>
#include <vector>

namespace VeldaRender {

class ProjectSession;

// Hands the review options (section box, hidden, isolated and selected
// objects) to the renderer of a loaded session.
void applyReviewOptions(ProjectSession& session, const RenderOptions& options);

// What --pick and --measure ask, each as one JSON line: the object under a
// pixel with what `props` says of it, or the distance between two picked
// points snapped to vertices. Draws the id pass into its own targets and
// leaves `frameBuffer` bound.
std::vector<std::string> reviewProbes(ProjectSession& session, const RenderOptions& options,
                                      unsigned int frameBuffer);

} // namespace VeldaRender
