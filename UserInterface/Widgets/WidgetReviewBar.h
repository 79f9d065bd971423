#pragma once

#include <QFrame>

class QPushButton;

namespace VeldaClient {

// The review tools' buttons beside the setting menu: the section box (X),
// measuring (M) and showing every hidden object again (Shift+H).
class WidgetReviewBar : public QFrame {
    Q_OBJECT

public:
    explicit WidgetReviewBar(QWidget* parent = nullptr);

    QPushButton* sectionButton() const { return section_; }
    QPushButton* measureButton() const { return measure_; }
    QPushButton* showAllButton() const { return showAll_; }

private:
    void initializeControls();
    QPushButton* addButton(const char* text, const char* tip, bool checkable);

    QPushButton* section_ = nullptr;
    QPushButton* measure_ = nullptr;
    QPushButton* showAll_ = nullptr;
};

} // namespace VeldaClient
