#pragma once

#include "service/BcfView.h"

#include <QObject>

#include <string>

class QWidget;

namespace VeldaClient {

class SavedViewGallery;

// The gallery's BCF entries: writes every filled view to a file the user
// picks, and fills free places from a file the user picks. A file that is
// refused changes nothing and says why in one message box.
class BcfTransfer : public QObject {
    Q_OBJECT

public:
    // `owner` is the widget the dialogs belong to (through its window).
    BcfTransfer(QWidget* owner, SavedViewGallery* gallery);

    // How the scene stands to the model right now.
    static BcfModelFrame modelFrame();

signals:
    // The sun dial's two angles as a new array of two floats.
    float* fetchRadValue();
    void displayInfo(std::string info);

public slots:
    void exportViews();
    void importViews();

private:
    QWidget* owner_;
    SavedViewGallery* gallery_;
};

} // namespace VeldaClient
