#ifndef VEK5VIEW_H
#define VEK5VIEW_H

// The unit's panel in the host window: overview diagram, active alarms,
// real-time data, control buttons with the settings tables, and maintenance.
// Values are shown through the records of the range's parameter catalogue.

#include "CollectView.h"
#include "ParameterInformation.h"

#include <QDateTime>
#include <QList>
#include <QMap>
#include <QStringList>
#include <array>

class Dialog;
class Energyline;
class QGridLayout;
class QLabel;
class QTabWidget;
class QTableWidget;
class QWidget;
class vek5ViewData;

class vek5View : public CollectView
{
    Q_OBJECT
public:
    explicit vek5View(QWidget* parent = nullptr);
    ~vek5View() override;

    // The setting dialog the settings tables prepare.
    Dialog* settingDialog() const { return m_dialog; }

public slots:
    void setName(QString n) override;
    void refreshData() override;
    void refreshLayout() override;
    void flushData(QMap<int, QVariant> d) override;
    void setUserInfo(QString user, int level) override;
    void pushButtonSlot();
    void slot_doubleClicked(int row, int column);

private:
    using Records = QList<ParameterInformation*>;

    // Real-time panels, in layout order.
    enum RtPanel { DevicePanel, OutputPanel, InputPanel, BypassPanel, BatteryPanel, RecInvPanel,
                   RtPanelCount };
    // Settings tables, in tab order.
    enum SettingsTable { BasicTable, BatteryTable, AdjustTable, DevInfoTable, SettingsTableCount };

    void UpdatePointTabInfo(int index);
    void fetchLists();
    QWidget* buildRtData();
    QWidget* buildControl();
    QWidget* buildMaintain();
    QWidget* buildAlarm();
    QTableWidget* buildSettingsTable(const QString& name, const Records& records);
    void addButton(QGridLayout* grid, const char* name, int row, int column);
    const Records* recordsOfTable(const QObject* table) const;
    void refreshAlarms();

    QTabWidget* m_mainTabs = nullptr;
    QTabWidget* m_configStack = nullptr;
    Energyline* m_energy = nullptr;
    QTableWidget* m_recordTable = nullptr;
    std::array<QTableWidget*, SettingsTableCount> m_settingsTables{};
    std::array<QList<QLabel*>, RtPanelCount> m_rtLabels;

    std::array<Records, RtPanelCount> m_rtRecords;
    std::array<Records, SettingsTableCount> m_configRecords;
    Records m_specialConfig;
    QStringList m_alarmList;
    QMap<int, QDateTime> m_alarmFirstSeen;

    vek5ViewData* m_holder = nullptr;
    Dialog* m_dialog = nullptr;
    // First argument of the upgrade tool; never set by the view.
    QString m_upgradeArg;
};

#endif // VEK5VIEW_H
