#ifndef MAINWINDOW_H
#define MAINWINDOW_H

// Window mode: the units with their communication state on the left, the
// selected unit's panel in the middle, the event log below, and the user
// level in the tool bar.

#include <QMainWindow>

#include "HostEvent.h"

class HostMonitor;
class QComboBox;
class QListWidget;
class QStackedWidget;
class QTableWidget;

class MainWindow : public QMainWindow
{
    Q_OBJECT
public:
    MainWindow(HostMonitor* monitor, int userLevel, QWidget* parent = nullptr);

    // Keeps at most this many event-log rows; the oldest go first.
    static const int kMaxEventRows = 2000;

public slots:
    void addEvent(const HostEvent& event);
    void setCommState(const QString& unit, int state);
    void setUserLevel(int level);

private:
    HostMonitor* m_monitor;
    QListWidget* m_units;
    QStackedWidget* m_pages;
    QTableWidget* m_events;
    QComboBox* m_level;
};

#endif // MAINWINDOW_H
