#pragma once

#include "Common/LocalModelJob.h"
#include "UserInterface/Widgets/WidgetMessageBox.h"

class QLabel;
class QProgressBar;

namespace VeldaClient {

// The window that shows a model being made ready (hashed, then packed): the
// message box with what is under way, the file's name, a bar and only its
// cancel button. It appears only when the work takes longer than a moment,
// so that a model packed before opens without it. Cancel, Escape or the
// close button stop the packer.
class WidgetPackProgress : public WidgetMessageBox {
    Q_OBJECT

public:
    explicit WidgetPackProgress(LocalModelJob* job, QWidget* parent = nullptr);

    // Runs the job to its end and returns how it ended.
    LocalModelJob::Outcome run();

    // Milliseconds of work before the window shows.
    static const int kShowAfterMs = 400;

protected slots:
    void _progress(double fraction, QString step);
    void _jobEnded();

private:
    LocalModelJob* job = nullptr;
    QLabel* step = nullptr;
    QProgressBar* bar = nullptr;
    QString stepShown;
};

} // namespace VeldaClient
