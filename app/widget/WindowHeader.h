#pragma once

#include "app/widget/WidgetLook.h"

#include <QWidget>

namespace ostrelvan {

// The small line above a group of sessions that share one terminal or editor window: a window
// symbol, the window's name shortened in the middle, and how many tabs it holds.
class WindowHeader : public QWidget {
    Q_OBJECT
public:
    explicit WindowHeader(QWidget* parent = nullptr);

    void setGroup(const QString& name, int count);
    void setLook(const WidgetLook& look);

    const QString& name() const { return name_; }
    int count() const { return count_; }
    QString countText() const;
    // The name as it fits beside the count.
    QString shownName() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double nameWidth() const;

    QString name_;
    int count_ = 0;
    WidgetLook look_;
};

} // namespace ostrelvan
