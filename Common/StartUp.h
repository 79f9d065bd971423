#pragma once

#include <string>

namespace VeldaClient {

// The project lookup: a GET of the service base URL +
// "/project/getthreedimensionsdis.action?projectid=..&qemid=..&sign=..",
// values from GraphicsContext::projectInfo(), none URL-encoded. The body.
std::string fetchProjectLookup();

// Proves that the companion client answers, looks the project up, fills
// ProjectInfo and sets the root path (serveradr followed by downurl).
// The sense is inverted: false means success, true means failure, and the
// caller ends the process with -1 on true.
bool initializeProjectContext();

} // namespace VeldaClient
