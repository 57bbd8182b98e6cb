#include "vek5View.h"

#include "Dialog.h"
#include "Energyline.h"
#include "MsgBox.h"
#include "UpsCommand.h"
#include "points.h"
#include "vek5_10_30k_View.h"

#include <QAbstractButton>
#include <QCoreApplication>
#include <QDateTimeEdit>
#include <QFile>
#include <QFileDialog>
#include <QFont>
#include <QGridLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProcess>
#include <QPushButton>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>
#include <QtDebug>
#include <algorithm>

namespace {

// A panel button not in the command table sends this raw setting.
const char* const kOtherValue = "1,300";

// Rows of the control grid: caption, then the buttons by object name.
struct ControlRow
{
    const char* caption;
    const char* buttons[3];
};

const ControlRow kControlRows[] = {
    {QT_TRANSLATE_NOOP("vek5View", "Buzzer:"), {"buzzer_off", "buzzer_on", nullptr}},
    {QT_TRANSLATE_NOOP("vek5View", "Startup&Shutdown:"), {"power_on", "off_turn_bypass", "power_off"}},
    {QT_TRANSLATE_NOOP("vek5View", "Manual switch:"), {"turn_bypass", "turn_inverter", nullptr}},
    {QT_TRANSLATE_NOOP("vek5View", "Battery:"), {"battery_test", "battery_maintenance", "cancel_test"}},
};

const char* const kRtTitles[] = {
    QT_TRANSLATE_NOOP("vek5View", "DEVICE"), QT_TRANSLATE_NOOP("vek5View", "OUTPUT"),
    QT_TRANSLATE_NOOP("vek5View", "INPUT"), QT_TRANSLATE_NOOP("vek5View", "BYPASS"),
    QT_TRANSLATE_NOOP("vek5View", "BATTERY"), QT_TRANSLATE_NOOP("vek5View", "REC/INV"),
};

const struct
{
    const char* objectName;
    const char* title;
} kSettingsTables[] = {
    {"basicTable", QT_TRANSLATE_NOOP("vek5View", "Basic parameters")},
    {"batteryTable", QT_TRANSLATE_NOOP("vek5View", "Battery parameters")},
    {"adjustTable", QT_TRANSLATE_NOOP("vek5View", "Adjusting parameters")},
    {"devinforTable", QT_TRANSLATE_NOOP("vek5View", "UPS information")},
};

// The records a user of level 1 or less may still set.
const int kOpenRecords[] = {point::BatteryBlocks, point::BatteryAh, point::ChargeCurrentLimit, point::BacklightTime};

const int kAlarmCount = point::AlarmCount;
const int kAlarmBase = point::FirstAlarm;

// The diagram's panels reach 440 px left, 445 px right, 340 px above and
// 343 px below its centre.
const int kOverviewMinWidth = 900;
const int kOverviewMinHeight = 700;

// Control and maintenance buttons share one width, whatever their text.
const int kButtonMinWidth = 170;

const QString kFontFamily = QStringLiteral("Microsoft YaHei");

QLabel* newLabel(const QString& text, const char* objectName, QWidget* parent)
{
    auto* label = new QLabel(text, parent);
    label->setObjectName(QLatin1String(objectName));
    return label;
}

} // namespace

vek5View::vek5View(QWidget* parent)
    : CollectView(parent)
    , m_dialog(new Dialog)
{
    connect(m_dialog, &Dialog::postDEvent, this, &CollectView::postDEvent);
}

vek5View::~vek5View()
{
    delete m_dialog;
}

void vek5View::setName(QString n)
{
    m_name = n;
}

void vek5View::flushData(QMap<int, QVariant> d)
{
    if (!m_data.isSharedWith(d))
        m_data = d;
    refreshData();
}

void vek5View::refreshData()
{
    if (m_mainTabs)
        UpdatePointTabInfo(m_mainTabs->currentIndex());
}

void vek5View::setUserInfo(QString user, int level)
{
    Q_UNUSED(user);
    m_userLevel = level;
    if (QWidget* control = findChild<QWidget*>(QStringLiteral("ControlTable")))
        control->setEnabled(level != 0);
    if (m_mainTabs) {
        m_mainTabs->setTabEnabled(4, level != 0);
        m_mainTabs->setStyleSheet(
            QStringLiteral("QTabBar::tab:disabled {width: 0; color: transparent;}"));
    }
}

void vek5View::fetchLists()
{
    // The holder and its records live until the process ends: copies of its
    // lists, the settings tables and the dialog keep pointing at them. The
    // list below keeps every holder reachable.
    static auto* const holders = new QList<vek5ViewData*>;
    if (!m_holder) {
        m_holder = new vek5_10_30k_View;
        holders->append(m_holder);
    }
    m_rtRecords[DevicePanel] = m_holder->getDeviceData();
    m_rtRecords[OutputPanel] = m_holder->getOutputData();
    m_rtRecords[InputPanel] = m_holder->getInputData();
    m_rtRecords[BypassPanel] = m_holder->getBypassData();
    m_rtRecords[BatteryPanel] = m_holder->getBatteryData();
    m_rtRecords[RecInvPanel] = m_holder->getRecInvData();
    m_configRecords[BasicTable] = m_holder->getBasicConfig();
    m_configRecords[BatteryTable] = m_holder->getBatteryConfig();
    m_configRecords[AdjustTable] = m_holder->getAdjustConfig();
    m_configRecords[DevInfoTable] = m_holder->getDevInfoConfig();
    m_specialConfig = m_holder->getSpecialConfig();
    m_alarmList = m_holder->getAlarmList();
}

void vek5View::refreshLayout()
{
    fetchLists();

    auto* grid = findChild<QGridLayout*>(QStringLiteral("vek5View_grid"));
    if (!grid) {
        grid = new QGridLayout(this);
        grid->setObjectName(QStringLiteral("vek5View_grid"));
        grid->setContentsMargins(0, 0, 0, 0);
    }
    m_mainTabs = findChild<QTabWidget*>(QStringLiteral("devStacketTable"));
    if (m_mainTabs)
        return;

    m_mainTabs = new QTabWidget(this);
    m_mainTabs->setObjectName(QStringLiteral("devStacketTable"));
    grid->addWidget(m_mainTabs, 0, 0);

    m_energy = new Energyline(m_mainTabs);
    m_energy->setObjectName(QStringLiteral("OverviewTable"));
    m_energy->set_all_off_Flow();
    // Room for the blocks with all information panels open around them, so
    // a small host window scrolls or grows instead of cutting the panels.
    m_energy->setMinimumSize(kOverviewMinWidth, kOverviewMinHeight);
    m_mainTabs->addTab(m_energy, tr("Overview"));
    m_mainTabs->addTab(buildRtData(), tr("RT-data"));
    m_mainTabs->addTab(buildControl(), tr("Control"));
    m_mainTabs->addTab(buildMaintain(), tr("Maintenance"));
    // Inserted last, in front of the others.
    m_mainTabs->insertTab(1, buildAlarm(), tr("Alarm"));

    connect(m_mainTabs, &QTabWidget::currentChanged, this, &vek5View::refreshData);
}

QWidget* vek5View::buildRtData()
{
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("RtDataTable"));
    auto* layout = new QGridLayout(page);
    for (int p = 0; p < RtPanelCount; ++p) {
        auto* panel = new QWidget(page);
        auto* column = new QVBoxLayout(panel);
        QLabel* title = newLabel(tr(kRtTitles[p]), "PanelTitle", panel);
        title->setFont(QFont(kFontFamily, -1, 75));
        column->addWidget(title);

        auto* body = new QWidget(panel);
        body->setObjectName(QStringLiteral("PanelBody"));
        auto* rows = new QGridLayout(body);
        rows->setSpacing(0);
        rows->setContentsMargins(0, 0, 0, 0);
        m_rtLabels[p].clear();
        for (int r = 0; r < m_rtRecords[p].size(); ++r) {
            rows->addWidget(new QLabel(m_rtRecords[p].at(r)->label, body), r, 0);
            auto* value = new QLabel(body);
            value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
            rows->addWidget(value, r, 1);
            m_rtLabels[p].append(value);
        }
        column->addWidget(body);
        column->addStretch();
        layout->addWidget(panel, p / 3, p % 3);
    }
    // Both rows of panels sit at the top; spare height goes below them.
    layout->setRowStretch(RtPanelCount / 3, 1);
    return page;
}

void vek5View::addButton(QGridLayout* grid, const char* name, int row, int column)
{
    const UpsCommand* command = UpsCommand::byButtonName(QLatin1String(name));
    auto* button = new QPushButton(tr(command->buttonLabel));
    button->setObjectName(QLatin1String(name));
    button->setMinimumWidth(kButtonMinWidth);
    connect(button, &QPushButton::clicked, this, &vek5View::pushButtonSlot);
    grid->addWidget(button, row, column);
}

QWidget* vek5View::buildControl()
{
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("ControlTable"));
    auto* grid = new QGridLayout(page);
    grid->setObjectName(QStringLiteral("ControlGrid"));
    page->setFont(QFont(kFontFamily));

    // Captions and buttons keep their natural width; the empty last column
    // takes the rest, so the buttons do not stretch across a wide window.
    const int columns = 5;
    grid->setColumnStretch(columns - 1, 1);
    grid->addWidget(newLabel(tr("Control"), "DevBigTitle", page), 0, 0, 1, columns);
    int row = 1;
    for (const ControlRow& r : kControlRows) {
        grid->addWidget(newLabel(tr(r.caption), "DevSubNameTit", page), row, 0);
        for (int b = 0; b < 3 && r.buttons[b]; ++b)
            addButton(grid, r.buttons[b], row, b + 1);
        ++row;
    }

    QLabel* configTitle = newLabel(tr("Configuration"), "DevBigTitle", page);
    configTitle->setStyleSheet(QStringLiteral("margin-top:20px"));
    grid->addWidget(configTitle, 6, 0, 1, columns);

    m_configStack = new QTabWidget(page);
    m_configStack->setObjectName(QStringLiteral("configStack"));
    for (int t = 0; t < SettingsTableCount; ++t) {
        m_settingsTables[t] = buildSettingsTable(QLatin1String(kSettingsTables[t].objectName),
                                                 m_configRecords[t]);
        m_configStack->addTab(m_settingsTables[t], tr(kSettingsTables[t].title));
    }
    grid->addWidget(m_configStack, 7, 0, 1, columns);
    return page;
}

QTableWidget* vek5View::buildSettingsTable(const QString& name, const Records& records)
{
    auto* table = new QTableWidget(records.size(), 3);
    table->setObjectName(name);
    table->setHorizontalHeaderLabels({tr("Parameter"), tr("Current settings"), tr("Range")});
    table->horizontalHeader()->setSectionResizeMode(QHeaderView::Stretch);
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    for (int r = 0; r < records.size(); ++r) {
        const ParameterInformation* record = records.at(r);
        table->setItem(r, 0, new QTableWidgetItem(record->label));
        table->setItem(r, 1, new QTableWidgetItem(record->valueText));
        auto* range = new QTableWidgetItem(record->rangeText());
        range->setForeground(Qt::red);
        table->setItem(r, 2, range);
    }
    connect(table, &QTableWidget::cellDoubleClicked, this, &vek5View::slot_doubleClicked);
    return table;
}

QWidget* vek5View::buildMaintain()
{
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("MaintainTable"));
    auto* grid = new QGridLayout(page);
    grid->addWidget(newLabel(tr("Clear"), "DevBigTitle", page), 0, 0, 1, 2);
    addButton(grid, "clear_fault", 1, 0);
    addButton(grid, "clear_history_log", 1, 1);
    grid->addWidget(newLabel(tr("Plugin"), "DevBigTitle", page), 2, 0, 1, 2);
    addButton(grid, "download_history_log", 3, 0);
    grid->setRowStretch(4, 1);
    grid->setColumnStretch(2, 1);
    return page;
}

QWidget* vek5View::buildAlarm()
{
    auto* page = new QWidget;
    page->setObjectName(QStringLiteral("AlarmTable"));
    auto* layout = new QVBoxLayout(page);
    m_recordTable = new QTableWidget(0, 2, page);
    m_recordTable->setObjectName(QStringLiteral("RecordTable"));
    m_recordTable->setHorizontalHeaderLabels({tr("Data/Time"), tr("Event description")});
    // The first-seen time is shown whole; the description takes the rest.
    m_recordTable->horizontalHeader()->setSectionResizeMode(0, QHeaderView::ResizeToContents);
    m_recordTable->horizontalHeader()->setStretchLastSection(true);
    m_recordTable->verticalHeader()->hide();
    m_recordTable->setAlternatingRowColors(true);
    m_recordTable->setStyleSheet(
        QStringLiteral("alternate-background-color: #DDDFF5; background: #FFFFFF;"));
    m_recordTable->setMinimumHeight(610);
    m_recordTable->setEditTriggers(QAbstractItemView::NoEditTriggers);
    layout->addWidget(m_recordTable);
    return page;
}

void vek5View::UpdatePointTabInfo(int index)
{
    if (index == 0) {
        m_energy->flushData(m_data);
        return;
    }
    if (!m_holder)
        return;
    switch (index) {
    case 1:
        refreshAlarms();
        break;
    case 2:
        for (int p = 0; p < RtPanelCount; ++p) {
            for (int r = 0; r < m_rtLabels[p].size(); ++r)
                m_rtLabels[p].at(r)->setText(m_rtRecords[p].at(r)->displayText(m_data));
        }
        break;
    case 3:
        for (int t = 0; t < SettingsTableCount; ++t) {
            const Records& records = m_configRecords[t];
            for (int r = 0; r < records.size(); ++r) {
                auto* item = new QTableWidgetItem(records.at(r)->displayText(m_data));
                item->setForeground(Qt::blue);
                m_settingsTables[t]->setItem(r, 1, item);
            }
        }
        break;
    default:
        break;
    }
}

void vek5View::refreshAlarms()
{
    m_recordTable->clearContents();
    m_recordTable->setRowCount(0);
    for (int i = 0; i < kAlarmCount; ++i) {
        if (m_data.value(kAlarmBase + i).toInt() != 1) {
            m_alarmFirstSeen.remove(i);
            continue;
        }
        if (!m_alarmFirstSeen.contains(i))
            m_alarmFirstSeen.insert(i, QDateTime::currentDateTime());
        const int row = m_recordTable->rowCount();
        m_recordTable->insertRow(row);
        m_recordTable->setItem(row, 0, new QTableWidgetItem(
            m_alarmFirstSeen.value(i).toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"))));
        m_recordTable->setItem(row, 1, new QTableWidgetItem(m_alarmList.value(i)));
    }
}

void vek5View::pushButtonSlot()
{
    const auto* button = qobject_cast<const QAbstractButton*>(sender());
    if (!button)
        return;
    const QString name = button->objectName();
    {
        MsgBox confirm(1, button->text() + QLatin1Char('?'), this);
        if (confirm.exec() != 1)
            return;
    }

    const UpsCommand* command = UpsCommand::byButtonName(name);
    if (!command) {
        control(UpsCommand::RawSetting, QLatin1String(kOtherValue));
        return;
    }
    if (command->id == UpsCommand::SetClock) {
        const auto* edit = findChild<QDateTimeEdit*>(QStringLiteral("timeEdit"));
        if (edit)
            control(command->id, edit->text());
    } else if (command->id == UpsCommand::ClosePort) {
        control(command->id, QString());
        const QString dir = QCoreApplication::applicationDirPath();
        if (!QProcess::startDetached(QStringLiteral("QN410L3_20KV5Software.exe"),
                                     {m_upgradeArg, QString::number(m_language)}, dir))
            qDebug() << "upgrade tool did not start";
    } else if (command->id == UpsCommand::DownloadHistory) {
        const QString file = QFileDialog::getSaveFileName(this, tr("Save"), QString(),
                                                          tr("files(*.csv)"));
        if (!file.isEmpty()) {
            QFile created(file);
            if (created.open(QIODevice::WriteOnly | QIODevice::Truncate))
                created.close();
        }
        control(command->id, file);
    } else {
        control(command->id, QString());
    }
}

const vek5View::Records* vek5View::recordsOfTable(const QObject* table) const
{
    for (int t = 0; t < SettingsTableCount; ++t) {
        if (table && table == m_settingsTables[t])
            return &m_configRecords[t];
    }
    return nullptr;
}

void vek5View::slot_doubleClicked(int row, int column)
{
    Q_UNUSED(column);
    const Records* records = recordsOfTable(sender());
    if (!records || row < 0 || row >= records->size())
        return;
    ParameterInformation* record = records->at(row);
    if (m_userLevel <= 1
        && std::find(std::begin(kOpenRecords), std::end(kOpenRecords), record->pointId)
               == std::end(kOpenRecords))
        return;
    m_dialog->initial(record);
    m_dialog->setDevName(m_name);
    if (m_userLevel > 0)
        m_dialog->show();
}
