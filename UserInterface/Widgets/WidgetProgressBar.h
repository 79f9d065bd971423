#pragma once

#include <QFrame>

class QLabel;
class QProgressBar;

namespace VeldaClient {

// The loading bar of the title strip: indexing (0), loading (1 to 99) and
// finished (100), which it never leaves.
class WidgetProgressBar : public QFrame {
    Q_OBJECT

public:
    explicit WidgetProgressBar(QWidget* parent = nullptr);

public slots:
    void setValue(int value);

private:
    void initializeControls();

    QProgressBar* innerBar = nullptr;
    QFrame* splitter = nullptr;
    QLabel* statusInfo = nullptr;
    QFrame* finishedLogo = nullptr;
};

} // namespace VeldaClient
