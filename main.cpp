// velda-viewer: signed in through the companion client, it looks the project
// up on the web service and streams it into a frameless window. Given a
// model file or a project folder, it opens that with no client and no
// service.
#include "Common/ApplicationMain.h"
#include "Common/GraphicsContext.h"
#include "Common/LocalModelJob.h"
#include "Common/LocalProject.h"
#include "Common/ModelLibrary.h"
#include "Common/StartUp.h"
#include "Common/ViewerArguments.h"
#include "UserInterface/Forms/FormMain.h"
#include "UserInterface/Widgets/WidgetNoticeBox.h"
#include "UserInterface/Widgets/WidgetPackProgress.h"
#include "log/Log.h"

#include <QFile>
#include <QIcon>

#include <cstdlib>
#include <iostream>

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

// The model of the command line, hashed and packed when needed, made the
// project to stream. False when it cannot be opened (after one message)
// or the user cancelled.
bool openModel(const std::string& model)
{
    GraphicsContext* hub = GraphicsContext::instance();
    LocalModelJob job(ModelLibrary(hub->appDataFolder()), hub->programFolder() + "/velda-pack", model);
    const LocalModelJob::Outcome outcome = WidgetPackProgress(&job).run();
    if (outcome == LocalModelJob::Outcome::Cancelled) {
        std::cerr << "velda-viewer: cancelled, " << model << " not opened\n";
        return false;
    }
    if (outcome != LocalModelJob::Outcome::Opened) {
        std::cerr << "velda-viewer: " << job.problem() << ": " << job.detail() << "\n";
        WidgetNoticeBox().tell(job.problem(), job.detail());
        return false;
    }
    LocalProject::use(job.projectFolder(), job.source(), job.key());
    return true;
}

int run(int argc, char** argv)
{
    const ViewerArguments arguments = ViewerArguments::parse(argc, argv);
    if (arguments.help) {
        std::cout << ViewerArguments::kUsage;
        return 0;
    }
    if (!arguments.error.empty()) {
        std::cerr << "velda-viewer: " << arguments.error << "\n" << ViewerArguments::kUsage;
        return 2;
    }
    if (arguments.faithful)
        setenv("VELDA_FAITHFUL", "1", 1);  // read where the hub is made

    Velda::Log::configure(argc, argv);
    VLOG << "Application Start!";
    // The sense is inverted: true means the project context failed.
    if (arguments.model.empty() && initializeProjectContext())
        return -1;

    ApplicationMain* application = new ApplicationMain(argc, argv);
    application->setWindowIcon(QIcon(":/Images/velda-viewer.svg"));
    initializeAppTheme(*application);
    GraphicsContext::instance()->setApplication(application);
    if (!arguments.model.empty() && !openModel(arguments.model)) {
        delete application;
        return 1;
    }
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
