// velda-viewer: signed in through the companion client, it looks the project
// up on the web service and streams it into a frameless window.
#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "Common/StartUp.h"
#include "UserInterface/Forms/FormMain.h"
#include "log/Log.h"

#include <QFile>
#include <QIcon>

namespace VeldaClient {

// The theme's style sheet, when the program carries one.
void initializeAppTheme(ApplicationMain& application)
{
    QFile sheet(":/Qss/Theme.qss");
    if (!sheet.open(QIODevice::ReadOnly))
        return;
    application.setStyleSheet(QString::fromUtf8(sheet.readAll()));
    VLOG << "initialize App Theme";
}

int run(int argc, char** argv)
{
    Velda::Log::configure(argc, argv);
    VLOG << "Application Start!";
    // The sense is inverted: true means the project context failed.
    if (initializeProjectContext())
        return -1;

    ApplicationMain* application = new ApplicationMain(argc, argv);
    application->setWindowIcon(QIcon(":/Images/velda-viewer.svg"));
    initializeAppTheme(*application);
    GraphicsContext::instance()->setApplication(application);
    FormMain* form = new FormMain();
    form->resize(1024, 700);
    form->show();
    const int result = application->exec();
    delete form;
    delete application;
    return result;
}

} // namespace VeldaClient

int main(int argc, char** argv)
{
    return VeldaClient::run(argc, argv);
}
