#pragma once

#include "UserInterface/Widgets/TitleStripDrag.h"

#include <QDialog>

#include <string>

class QFrame;
class QLabel;
class QPushButton;

namespace VeldaClient {

// A frameless modal question in the viewer's own look with three outcomes.
class WidgetMessageBox : public QDialog {
    Q_OBJECT

public:
    enum Result { kClosed = 0, kYes = 1, kNo = 2 };

    explicit WidgetMessageBox(QWidget* parent = nullptr);

    // Shows the question (and the detail line unless it is empty), runs the
    // dialog and returns 0 (closed), 1 (yes) or 2 (no). UTF-8 texts.
    int ask(const std::string& question, const std::string& detail);

protected slots:
    void _resultYes(bool flag);
    void _resultNo(bool flag);
    void _close(bool flag);
    void _close();

protected:
    void resizeEvent(QResizeEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void initializeControls();

    int result = kClosed;
    TitleStripDrag drag;
    QLabel* title = nullptr;
    QLabel* question = nullptr;
    QLabel* detail = nullptr;
    QPushButton* yes = nullptr;
    QPushButton* no = nullptr;
    QFrame* container = nullptr;
};

} // namespace VeldaClient
