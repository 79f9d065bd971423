// Runs the start-up's project context from wherever this program stands,
// so a test can place it beside a sign module of its choice.
#include "Common/GraphicsContext.h"
#include "Common/StartUp.h"

#include <cstdio>

int main()
{
    const bool failed = VeldaClient::initializeProjectContext();
    if (failed) {
        std::printf("failure\n");
        return 1;
    }
    std::printf("root %s\n", VeldaClient::GraphicsContext::instance()->rootPath().c_str());
    return 0;
}
