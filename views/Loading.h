#ifndef LOADING_H
#define LOADING_H

#include <QTimer>
#include <QWidget>

class QPainter;

// Busy indicator: a ring of dots whose brightest dot walks round while shown.
class Loading : public QWidget
{
    Q_OBJECT
public:
    explicit Loading(QWidget* parent = nullptr);

    void drawLoading(QPainter* painter);

protected:
    void paintEvent(QPaintEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void step();

    QTimer m_timer;
    int m_index = 0;
};

#endif // LOADING_H
