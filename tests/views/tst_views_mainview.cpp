// Main view: layout by object name, refresh of each tab, button requests
// through the confirmation box, user levels and the setting dialog.

#include "Dialog.h"
#include "Energyline.h"
#include "MsgBox.h"
#include "vek5View.h"
#include "vek5_10_30k_View.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDateTimeEdit>
#include <QFileDialog>
#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPointer>
#include <QPushButton>
#include <QRegularExpression>
#include <QSignalSpy>
#include <QTabWidget>
#include <QTableWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <functional>
#include <memory>

using DataMap = QMap<int, QVariant>;
using Modal = std::function<void(QWidget*)>;
Q_DECLARE_METATYPE(DataMap)

namespace {

// Answers the coming modal dialogs in turn, one action each.
void answerModals(QObject* owner, const QList<Modal>& actions)
{
    auto remaining = std::make_shared<QList<Modal>>(actions);
    auto last = std::make_shared<QPointer<QWidget>>();
    auto* timer = new QTimer(owner);
    QObject::connect(timer, &QTimer::timeout, timer, [timer, remaining, last] {
        QWidget* modal = QApplication::activeModalWidget();
        if (!modal || !modal->isVisible() || modal == last->data())
            return;
        *last = modal;
        remaining->takeFirst()(modal);
        if (remaining->isEmpty())
            timer->deleteLater();
    });
    timer->start(10);
}

void confirm(QWidget* w)
{
    auto* box = qobject_cast<MsgBox*>(w);
    QVERIFY(box);
    box->okBtn_press();
}

void decline(QWidget* w)
{
    auto* box = qobject_cast<MsgBox*>(w);
    QVERIFY(box);
    box->cancleBtn_press();
}

void cancelFileDialog(QWidget* w)
{
    auto* fd = qobject_cast<QFileDialog*>(w);
    QVERIFY(fd);
    fd->reject();
}

QString tabTexts(const QTabWidget* tabs)
{
    QStringList texts;
    for (int i = 0; i < tabs->count(); ++i)
        texts << tabs->tabText(i);
    return texts.join(QLatin1Char('|'));
}

struct Located
{
    QString table;
    int row = -1;
    QString label;
};

// Where the catalogue puts a settable point among the four settings tables.
Located locate(int pointId)
{
    vek5_10_30k_View catalogue;
    const QList<QPair<QString, QList<ParameterInformation*>>> tables = {
        {QStringLiteral("basicTable"), catalogue.getBasicConfig()},
        {QStringLiteral("batteryTable"), catalogue.getBatteryConfig()},
        {QStringLiteral("adjustTable"), catalogue.getAdjustConfig()},
        {QStringLiteral("devinforTable"), catalogue.getDevInfoConfig()}};
    for (const auto& t : tables) {
        for (int r = 0; r < t.second.size(); ++r) {
            if (t.second.at(r)->pointId == pointId)
                return {t.first, r, t.second.at(r)->label};
        }
    }
    return {};
}

bool dialogShowsTitle(const Dialog* dialog, const QString& title)
{
    const QList<QLabel*> labels = dialog->findChildren<QLabel*>();
    for (const QLabel* l : labels) {
        if (l->text() == title)
            return true;
    }
    return false;
}

} // namespace

class tst_MainView : public QObject
{
    Q_OBJECT

private slots:
    void layoutObjects_data();
    void layoutObjects();
    void layoutTwiceReuses();
    void settingsTables_data();
    void settingsTables();
    void dataBeforeLayout();
    void overviewGetsData_data();
    void overviewGetsData();
    void rtDataRefresh();
    void settingsRefresh();
    void alarms_data();
    void alarms();
    void alarmFirstSeen();
    void buttons_data();
    void buttons();
    void timeSet_data();
    void timeSet();
    void downloadHistory_data();
    void downloadHistory();
    void userLevel_data();
    void userLevel();
    void doubleClick_data();
    void doubleClick();
};

void tst_MainView::layoutObjects_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<QString>("className");
    QTest::newRow("grid") << "vek5View_grid" << "QGridLayout";
    QTest::newRow("main tabs") << "devStacketTable" << "QTabWidget";
    QTest::newRow("overview") << "OverviewTable" << "Energyline";
    QTest::newRow("alarm page") << "AlarmTable" << "QWidget";
    QTest::newRow("alarm table") << "RecordTable" << "QTableWidget";
    QTest::newRow("control page") << "ControlTable" << "QWidget";
    QTest::newRow("control grid") << "ControlGrid" << "QGridLayout";
    QTest::newRow("maintenance") << "MaintainTable" << "QWidget";
    QTest::newRow("config tabs") << "configStack" << "QTabWidget";
    QTest::newRow("basic") << "basicTable" << "QTableWidget";
    QTest::newRow("battery") << "batteryTable" << "QTableWidget";
    QTest::newRow("adjust") << "adjustTable" << "QTableWidget";
    QTest::newRow("info") << "devinforTable" << "QTableWidget";
    for (const char* button : {"buzzer_off", "buzzer_on", "power_on", "off_turn_bypass", "power_off",
                               "turn_bypass", "turn_inverter", "battery_test", "battery_maintenance",
                               "cancel_test", "clear_fault", "clear_history_log",
                               "download_history_log"})
        QTest::newRow(button) << button << "QPushButton";
}

void tst_MainView::layoutObjects()
{
    QFETCH(QString, name);
    QFETCH(QString, className);
    vek5View view;
    QVERIFY(!view.findChild<QObject*>(name));
    view.refreshLayout();
    const QList<QObject*> found = view.findChildren<QObject*>(name);
    QCOMPARE(found.size(), 1);
    QCOMPARE(QString::fromLatin1(found.first()->metaObject()->className()), className);
}

void tst_MainView::layoutTwiceReuses()
{
    vek5View view;
    view.refreshLayout();
    auto* tabs = view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"));
    QVERIFY(tabs);
    QCOMPARE(tabTexts(tabs), QStringLiteral("Overview|Alarm|RT-data|Control|Maintenance"));
    QCOMPARE(tabs->widget(0)->objectName(), QStringLiteral("OverviewTable"));
    QCOMPARE(tabs->widget(1)->objectName(), QStringLiteral("AlarmTable"));
    QCOMPARE(tabs->widget(3)->objectName(), QStringLiteral("ControlTable"));
    QCOMPARE(tabs->widget(4)->objectName(), QStringLiteral("MaintainTable"));
    const int objects = view.findChildren<QObject*>().size();
    const int titles = view.findChildren<QLabel*>(QStringLiteral("PanelTitle")).size();
    QCOMPARE(titles, 6);
    view.refreshLayout();
    QCOMPARE(view.findChild<QTabWidget*>(QStringLiteral("devStacketTable")), tabs);
    QCOMPARE(view.findChildren<QObject*>().size(), objects);
    QCOMPARE(tabs->count(), 5);
}

void tst_MainView::settingsTables_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<int>("list");
    QTest::newRow("basic") << "basicTable" << 0;
    QTest::newRow("battery") << "batteryTable" << 1;
    QTest::newRow("adjust") << "adjustTable" << 2;
    QTest::newRow("info") << "devinforTable" << 3;
}

void tst_MainView::settingsTables()
{
    QFETCH(QString, name);
    QFETCH(int, list);
    vek5_10_30k_View catalogue;
    const QList<QList<ParameterInformation*>> lists = {
        catalogue.getBasicConfig(), catalogue.getBatteryConfig(), catalogue.getAdjustConfig(),
        catalogue.getDevInfoConfig()};
    const QList<ParameterInformation*> records = lists.at(list);

    vek5View view;
    view.refreshLayout();
    auto* table = view.findChild<QTableWidget*>(name);
    QVERIFY(table);
    QCOMPARE(table->columnCount(), 3);
    QCOMPARE(table->horizontalHeaderItem(0)->text(), QStringLiteral("Parameter"));
    QCOMPARE(table->horizontalHeaderItem(1)->text(), QStringLiteral("Current settings"));
    QCOMPARE(table->horizontalHeaderItem(2)->text(), QStringLiteral("Range"));
    QVERIFY(!records.isEmpty());
    QCOMPARE(table->rowCount(), records.size());
    for (int r = 0; r < records.size(); ++r) {
        QCOMPARE(table->item(r, 0)->text(), records.at(r)->label);
        QCOMPARE(table->item(r, 1)->text(), QStringLiteral("-"));
        QCOMPARE(table->item(r, 2)->text(), records.at(r)->rangeText());
        QCOMPARE(table->item(r, 2)->foreground().color(), QColor(Qt::red));
    }
}

void tst_MainView::dataBeforeLayout()
{
    vek5View view;
    DataMap map{{4219, 1}, {2003, 1}};
    view.flushData(map);
    QCOMPARE(view.m_data, map);
    QVERIFY(view.findChildren<QWidget*>().isEmpty());
}

void tst_MainView::overviewGetsData_data()
{
    QTest::addColumn<int>("tab");
    QTest::addColumn<bool>("flows");
    QTest::newRow("overview current") << 0 << true;
    QTest::newRow("alarm current") << 1 << false;
    QTest::newRow("rt-data current") << 2 << false;
}

void tst_MainView::overviewGetsData()
{
    QFETCH(int, tab);
    QFETCH(bool, flows);
    vek5View view;
    view.refreshLayout();
    view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"))->setCurrentIndex(tab);
    auto* energy = view.findChild<Energyline*>(QStringLiteral("OverviewTable"));
    QVERIFY(energy);
    view.flushData(DataMap{{4219, 1}, {4222, 1}, {4223, 1}});
    QCOMPARE(energy->flowFlag(0), flows);
    QCOMPARE(energy->flowFlag(4), flows);
}

void tst_MainView::rtDataRefresh()
{
    vek5View view;
    view.refreshLayout();
    view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"))->setCurrentIndex(2);
    DataMap map;
    for (int id = 4000; id <= 4275; ++id)
        map.insert(id, 40 + id % 50);
    view.flushData(map);

    vek5_10_30k_View catalogue;
    const QList<QList<ParameterInformation*>> panels = {
        catalogue.getDeviceData(), catalogue.getOutputData(), catalogue.getInputData(),
        catalogue.getBypassData(), catalogue.getBatteryData(), catalogue.getRecInvData()};
    const QList<QWidget*> bodies = view.findChildren<QWidget*>(QStringLiteral("PanelBody"));
    QCOMPARE(bodies.size(), panels.size());
    int checked = 0;
    for (int p = 0; p < panels.size(); ++p) {
        auto* grid = qobject_cast<QGridLayout*>(bodies.at(p)->layout());
        QVERIFY(grid);
        QCOMPARE(grid->rowCount(), qMax(1, panels.at(p).size()));
        for (int r = 0; r < panels.at(p).size(); ++r) {
            auto* caption = qobject_cast<QLabel*>(grid->itemAtPosition(r, 0)->widget());
            auto* value = qobject_cast<QLabel*>(grid->itemAtPosition(r, 1)->widget());
            QCOMPARE(caption->text(), panels.at(p).at(r)->label);
            QCOMPARE(value->text(), panels.at(p).at(r)->displayText(map));
            QVERIFY(value->alignment() & Qt::AlignRight);
            checked += value->text().isEmpty() ? 0 : 1;
        }
    }
    QVERIFY(checked > 10);
}

void tst_MainView::settingsRefresh()
{
    vek5View view;
    view.refreshLayout();
    view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"))->setCurrentIndex(3);
    DataMap map;
    for (int id = 3000; id <= 3150; ++id)
        map.insert(id, 1 + id % 7);
    view.flushData(map);
    vek5_10_30k_View catalogue;
    const QList<ParameterInformation*> basic = catalogue.getBasicConfig();
    auto* table = view.findChild<QTableWidget*>(QStringLiteral("basicTable"));
    for (int r = 0; r < basic.size(); ++r) {
        QCOMPARE(table->item(r, 1)->text(), basic.at(r)->displayText(map));
        QCOMPARE(table->item(r, 1)->foreground().color(), QColor(Qt::blue));
    }
}

void tst_MainView::alarms_data()
{
    QTest::addColumn<DataMap>("data");
    QTest::addColumn<QList<int>>("rows");
    QTest::newRow("none") << DataMap{} << QList<int>{};
    QTest::newRow("one") << DataMap{{2005, 1}} << QList<int>{5};
    QTest::newRow("index order") << DataMap{{2300, 1}, {2000, 1}, {2511, 1}} << QList<int>{0, 300, 511};
    QTest::newRow("value 2 inactive") << DataMap{{2007, 2}, {2008, 1}} << QList<int>{8};
    QTest::newRow("value 0 inactive") << DataMap{{2007, 0}} << QList<int>{};
    QTest::newRow("beyond 511 ignored") << DataMap{{2512, 1}, {1999, 1}} << QList<int>{};
}

void tst_MainView::alarms()
{
    QFETCH(DataMap, data);
    QFETCH(QList<int>, rows);
    vek5View view;
    view.refreshLayout();
    view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"))->setCurrentIndex(1);
    // A previous active alarm must go when the next map lacks it.
    view.flushData(DataMap{{2100, 1}});
    view.flushData(data);
    auto* table = view.findChild<QTableWidget*>(QStringLiteral("RecordTable"));
    const QStringList texts = vek5_10_30k_View().getAlarmList();
    QCOMPARE(table->rowCount(), rows.size());
    const QRegularExpression stamp(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d$"));
    for (int r = 0; r < rows.size(); ++r) {
        QVERIFY(stamp.match(table->item(r, 0)->text()).hasMatch());
        QCOMPARE(table->item(r, 1)->text(), texts.value(rows.at(r)));
    }
}

void tst_MainView::alarmFirstSeen()
{
    vek5View view;
    view.refreshLayout();
    view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"))->setCurrentIndex(1);
    auto* table = view.findChild<QTableWidget*>(QStringLiteral("RecordTable"));
    view.flushData(DataMap{{2010, 1}});
    const QString first = table->item(0, 0)->text();
    QTest::qWait(1100);
    view.flushData(DataMap{{2010, 1}, {2011, 1}});
    QCOMPARE(table->item(0, 0)->text(), first);
    QVERIFY(table->item(1, 0)->text() > first);
    view.flushData(DataMap{});
    QCOMPARE(table->rowCount(), 0);
    view.flushData(DataMap{{2010, 1}});
    QVERIFY(table->item(0, 0)->text() > first);
}

void tst_MainView::buttons_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<bool>("laidOut");
    QTest::addColumn<bool>("accept");
    QTest::addColumn<int>("type");
    QTest::addColumn<QString>("value");
    QTest::newRow("buzzer off") << "buzzer_off" << true << true << 1010 << "";
    QTest::newRow("buzzer on") << "buzzer_on" << true << true << 1009 << "";
    QTest::newRow("startup") << "power_on" << true << true << 1008 << "";
    QTest::newRow("shutdown to bypass") << "off_turn_bypass" << true << true << 1015 << "";
    QTest::newRow("shutdown") << "power_off" << true << true << 1007 << "";
    QTest::newRow("to bypass") << "turn_bypass" << true << true << 1016 << "";
    QTest::newRow("to inverter") << "turn_inverter" << true << true << 1017 << "";
    QTest::newRow("battery test") << "battery_test" << true << true << 1003 << "";
    QTest::newRow("maintenance") << "battery_maintenance" << true << true << 1005 << "";
    QTest::newRow("cancel test") << "cancel_test" << true << true << 1006 << "";
    QTest::newRow("clear fault") << "clear_fault" << true << true << 1001 << "";
    QTest::newRow("clear history") << "clear_history_log" << true << true << 1002 << "";
    QTest::newRow("declined") << "power_off" << true << false << 0 << "";
    QTest::newRow("upgrade") << "ups_upgrade" << false << true << 1018 << "";
    QTest::newRow("unknown name") << "mystery" << false << true << 2016 << "1,300";
    QTest::newRow("unknown declined") << "mystery" << false << false << 0 << "";
}

void tst_MainView::buttons()
{
    QFETCH(QString, name);
    QFETCH(bool, laidOut);
    QFETCH(bool, accept);
    QFETCH(int, type);
    QFETCH(QString, value);
    vek5View view;
    view.setName(QStringLiteral("UPS-A"));
    view.refreshLayout();
    auto* button = view.findChild<QPushButton*>(name);
    QCOMPARE(button != nullptr, laidOut);
    if (!button) {
        button = new QPushButton(QStringLiteral("Extra"), &view);
        button->setObjectName(name);
        connect(button, &QPushButton::clicked, &view, &vek5View::pushButtonSlot);
    }
    QSignalSpy spy(&view, &CollectView::postDEvent);
    answerModals(&view, {accept ? Modal(confirm) : Modal(decline)});
    button->click();
    if (!accept) {
        QCOMPARE(spy.count(), 0);
        return;
    }
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), type);
    const auto record = spy.at(0).at(1).value<QMap<QString, QVariant>>();
    QCOMPARE(record.value(QStringLiteral("name")).toString(), QStringLiteral("UPS-A"));
    QCOMPARE(record.value(QStringLiteral("controlId")).toInt(), type);
    QCOMPARE(record.value(QStringLiteral("controlValue")).toString(), value);
}

void tst_MainView::timeSet_data()
{
    QTest::addColumn<bool>("withEditor");
    QTest::newRow("editor present") << true;
    QTest::newRow("no editor") << false;
}

void tst_MainView::timeSet()
{
    QFETCH(bool, withEditor);
    vek5View view;
    view.refreshLayout();
    auto* button = new QPushButton(QStringLiteral("Set time"), &view);
    button->setObjectName(QStringLiteral("timeSet"));
    connect(button, &QPushButton::clicked, &view, &vek5View::pushButtonSlot);
    QDateTimeEdit* edit = nullptr;
    if (withEditor) {
        edit = new QDateTimeEdit(QDateTime(QDate(2024, 5, 6), QTime(12, 30)), &view);
        edit->setObjectName(QStringLiteral("timeEdit"));
    }
    QSignalSpy spy(&view, &CollectView::postDEvent);
    answerModals(&view, {confirm});
    button->click();
    QCOMPARE(spy.count(), withEditor ? 1 : 0);
    if (withEditor) {
        QCOMPARE(spy.at(0).at(0).toInt(), 1011);
        const auto record = spy.at(0).at(1).value<QMap<QString, QVariant>>();
        QCOMPARE(record.value(QStringLiteral("controlValue")).toString(), edit->text());
    }
}

void tst_MainView::downloadHistory_data()
{
    QTest::addColumn<bool>("choose");
    QTest::newRow("cancelled") << false;
    QTest::newRow("file chosen") << true;
}

void tst_MainView::downloadHistory()
{
    QFETCH(bool, choose);
    QTemporaryDir dir;
    QVERIFY(dir.isValid());
    const QString path = dir.filePath(QStringLiteral("export.csv"));
    vek5View view;
    view.refreshLayout();
    QSignalSpy spy(&view, &CollectView::postDEvent);
    const Modal pickFile = [path](QWidget* w) {
        auto* fd = qobject_cast<QFileDialog*>(w);
        QVERIFY(fd);
        // Typed into the name field: selectFile() races the directory model.
        auto* name = fd->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        QVERIFY(name);
        name->setText(path);
        QMetaObject::invokeMethod(fd, "accept");
    };
    answerModals(&view, {confirm, choose ? pickFile : Modal(cancelFileDialog)});
    view.findChild<QPushButton*>(QStringLiteral("download_history_log"))->click();
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 1045);
    const auto record = spy.at(0).at(1).value<QMap<QString, QVariant>>();
    QCOMPARE(record.value(QStringLiteral("controlValue")).toString(), choose ? path : QString());
    QCOMPARE(QFileInfo::exists(path), choose);
    if (choose)
        QCOMPARE(QFileInfo(path).size(), qint64(0));
}

void tst_MainView::userLevel_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<bool>("enabled");
    QTest::newRow("guest") << 0 << false;
    QTest::newRow("operator") << 1 << true;
    QTest::newRow("admin") << 2 << true;
}

void tst_MainView::userLevel()
{
    QFETCH(int, level);
    QFETCH(bool, enabled);
    vek5View view;
    view.refreshLayout();
    // Start from the opposite state so the call has something to change.
    view.setUserInfo(QStringLiteral("someone"), enabled ? 0 : 2);
    view.setUserInfo(QStringLiteral("someone"), level);
    QCOMPARE(view.m_userLevel, level);
    auto* tabs = view.findChild<QTabWidget*>(QStringLiteral("devStacketTable"));
    QCOMPARE(view.findChild<QWidget*>(QStringLiteral("ControlTable"))->isEnabled(), enabled);
    QCOMPARE(tabs->isTabEnabled(4), enabled);
    QCOMPARE(tabs->isTabEnabled(3), true);
    QVERIFY(tabs->styleSheet().contains(QStringLiteral("QTabBar::tab:disabled")));
}

void tst_MainView::doubleClick_data()
{
    QTest::addColumn<int>("level");
    QTest::addColumn<int>("pointId");
    QTest::addColumn<bool>("prepared");
    QTest::addColumn<bool>("shown");
    QTest::newRow("guest, battery AH") << 0 << 3018 << true << false;
    QTest::newRow("guest, battery numbers") << 0 << 3017 << true << false;
    QTest::newRow("guest, work mode") << 0 << 3000 << false << false;
    QTest::newRow("level 1, work mode") << 1 << 3000 << false << false;
    QTest::newRow("level 1, battery AH") << 1 << 3018 << true << true;
    QTest::newRow("level 1, charge limit") << 1 << 3023 << true << true;
    QTest::newRow("level 1, backlight") << 1 << 3028 << true << true;
    QTest::newRow("level 2, work mode") << 2 << 3000 << true << true;
}

void tst_MainView::doubleClick()
{
    QFETCH(int, level);
    QFETCH(int, pointId);
    QFETCH(bool, prepared);
    QFETCH(bool, shown);
    const Located where = locate(pointId);
    QVERIFY2(where.row >= 0, "point is in a settings table");
    vek5View view;
    view.refreshLayout();
    view.setUserInfo(QString(), level);
    auto* table = view.findChild<QTableWidget*>(where.table);
    QVERIFY(table);
    QCOMPARE(table->item(where.row, 0)->text(), where.label);
    emit table->cellDoubleClicked(where.row, 1);
    QCOMPARE(dialogShowsTitle(view.settingDialog(), where.label), prepared);
    QCOMPARE(view.settingDialog()->isVisible(), shown);
    // Rows past the end do nothing.
    emit table->cellDoubleClicked(table->rowCount(), 1);
    emit table->cellDoubleClicked(-1, 0);
    view.settingDialog()->hide();
}

QTEST_MAIN(tst_MainView)
#include "tst_views_mainview.moc"
