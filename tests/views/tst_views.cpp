// The panel's widgets offscreen: catalogue texts, energy flow, setting dialog, main view, user levels.

#include "Dialog.h"
#include "Energyline.h"
#include "MsgBox.h"
#include "ParameterInformation.h"
#include "vek5View.h"
#include "vek5_10_30k_View.h"

#include <QtWidgets>
#include <QtTest>

#include <functional>
#include <memory>

using DataMap = QMap<int, QVariant>;
using Modal = std::function<void(QWidget*)>;

namespace {

DataMap bytePoints(int first, const QByteArray& text)
{
    DataMap map;
    for (int i = 0; i < text.size(); ++i)
        map.insert(first + i, int(quint8(text.at(i))));
    return map;
}

QString viewFlags(const Energyline& w)
{
    QString s;
    for (int i = 0; i < Energyline::ViewCount; ++i)
        s += w.viewFlag(i) ? '1' : '0';
    return s;
}

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

void confirm(QWidget* w) { qobject_cast<MsgBox*>(w)->okBtn_press(); }
void decline(QWidget* w) { qobject_cast<MsgBox*>(w)->cancleBtn_press(); }

ParameterInformation* record(vek5_10_30k_View& catalogue, const QString& list, int index)
{
    return (list == "basic" ? catalogue.getBasicConfig() : list == "battery" ? catalogue.getBatteryConfig()
            : list == "adjust" ? catalogue.getAdjustConfig() : catalogue.getDevInfoConfig()).value(index);
}

QTabWidget* tabs(QWidget& view) { return view.findChild<QTabWidget*>("devStacketTable"); }

} // namespace

class tst_views : public QObject
{
    Q_OBJECT
private slots:
    void displayText_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<int>("pointId");
        QTest::addColumn<int>("pointCount");
        QTest::addColumn<QString>("unit");
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<DataMap>("data");
        QTest::addColumn<QString>("expected");
        const QStringList none;
        QTest::newRow("int") << 0 << 4274 << 0 << "Day" << none << DataMap{{4274, 365}} << "365Day";
        QTest::newRow("three ints, middle absent") << 1 << 100 << 0 << "V" << none << DataMap{{100, 1}, {102, 3}} << "1/0/3V";
        QTest::newRow("three one-decimals") << 5 << 4133 << 0 << "V" << none
                                            << DataMap{{4133, 230.04}, {4134, 229.96}, {4135, 231}} << "230.0/230.0/231.0V";
        QTest::newRow("three two-decimals") << 7 << 50 << 0 << "A" << none
                                            << DataMap{{50, 1.5}, {51, 0}, {52, 3.126}} << "1.50/0.00/3.13A";
        QTest::newRow("text strips blanks, stops at zero") << 9 << 4000 << 8 << "" << none
                                                           << bytePoints(4000, QByteArray("  AB\0CD ", 8)) << "AB";
        QTest::newRow("text keeps low byte") << 9 << 4000 << 2 << "" << none << DataMap{{4000, 0x141}, {4001, 0x342}} << "AB";
        QTest::newRow("text utf-8") << 9 << 4000 << 4 << "" << none << bytePoints(4000, QByteArray("\xe2\x84\x83\0", 4))
                                    << QString::fromUtf8("\xe2\x84\x83");
        QTest::newRow("system time") << 9 << 3103 << 6 << "" << none
                                     << DataMap{{3103, 24}, {3104, 5}, {3105, 6}, {3106, 12}, {3107, 30}, {3108, 0}}
                                     << "2024/05/06 12:30:00";
        QTest::newRow("date of two fields is too short") << 9 << 3103 << 2 << "" << none << DataMap{{3103, 24}, {3104, 5}} << "";
        QTest::newRow("option") << 11 << 3011 << 0 << "%" << QStringList{"Enable", "Disable"} << DataMap{{3011, 1}} << "Disable%";
        QTest::newRow("unassigned type") << 3 << 7 << 3 << "V" << QStringList{"a"} << DataMap{{7, 1}} << "";
    }

    void displayText()
    {
        QFETCH(int, type);
        QFETCH(int, pointId);
        QFETCH(int, pointCount);
        QFETCH(QString, unit);
        QFETCH(QStringList, options);
        QFETCH(DataMap, data);
        ParameterInformation record;
        record.type = type;
        record.pointId = pointId;
        record.pointCount = pointCount;
        record.unit = unit;
        record.addCombo(options);
        QTEST(record.displayText(data), "expected");
    }

    // Alarm texts by index (no label), option texts of catalogue records for a raw code.
    void catalogueTexts_data()
    {
        QTest::addColumn<QString>("label");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("expected");
        QTest::newRow("first alarm") << "" << 0 << "Monitor_Bypass module/System board communication is abnormal";
        QTest::newRow("reserved alarm") << "" << 3 << "";
        QTest::newRow("alarm without prefix") << "" << 48 << "UPS need maintenance";
        QTest::newRow("trailing blank") << "" << 244 << "Byp Module/Sys board_Output abnormal ";
        QTest::newRow("doubled blank") << "" << 360 << "Rectifier_Lithium battery charge  primary protection";
        QTest::newRow("last event") << "" << 497 << "Inverter_Inverter negative power fault";
        QTest::newRow("beyond the events") << "" << 498 << "";
        QTest::newRow("battery 2") << "Battery status:" << 2 << "Const current equalized charge";
        QTest::newRow("battery 5") << "Battery status:" << 5 << "Const voltage equalized charge";
        QTest::newRow("battery 6") << "Battery status:" << 6 << "";
        QTest::newRow("output 3") << "Output load on state:" << 3 << "Load on other";
    }

    void catalogueTexts()
    {
        QFETCH(QString, label);
        QFETCH(int, code);
        vek5_10_30k_View catalogue;
        const QStringList alarms = catalogue.getAlarmList();
        QCOMPARE(alarms.size(), 512);
        QCOMPARE(alarms.size() - alarms.count(QString()), 301);
        if (label.isEmpty()) {
            QTEST(alarms.at(code), "expected");
            return;
        }
        const QList<ParameterInformation*> records = catalogue.getBatteryData() + catalogue.getOutputData();
        const auto record = std::find_if(records.cbegin(), records.cend(), [&](auto* r) { return r->label == label; });
        QVERIFY(record != records.cend());
        QTEST((*record)->displayText(DataMap{{(*record)->pointId, code}}), "expected");
    }

    // A click toggles its block's panel, data keeps panels open, the dashes move. (What is drawn: pictures.)
    void paintAndAnimate()
    {
        Energyline w;
        w.resize(1280, 800);
        const QPoint centre(640, 400);
        QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + QPoint(-301, 0));   // left of input
        QCOMPARE(viewFlags(w), QString("000000"));
        for (const QPoint& p : {QPoint(-262, 0), QPoint(-262, -150), QPoint(262, 0), QPoint(0, 117), QPoint(92, 0)})
            QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + p);
        w.flushData(DataMap{{4101, 4}, {4223, 1}});
        QCOMPARE(viewFlags(w), QString("111111"));
        QTest::mouseClick(&w, Qt::LeftButton, Qt::NoModifier, centre + QPoint(-262, 0));
        QCOMPARE(viewFlags(w), QString("011111"));
        // The flow dashes move on the timer and wrap near -1000.
        QVERIFY(QTest::qWaitFor([&w] { return w.flowOffset() < 0.0f; }, 10000));
        float previous = w.flowOffset();
        for (int step = 0; step < 3000 && w.flowOffset() <= previous; ++step) {
            previous = w.flowOffset();
            w.advanceFlow();
        }
        QVERIFY(previous <= -999.5f);
        QVERIFY(w.flowOffset() > -1.0f);
    }

    void dialogSends_data()
    {
        QTest::addColumn<QString>("list");
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("input");    // typed, or the start of an option
        QTest::addColumn<QString>("request");  // empty: out of range, refused
        QTest::addColumn<QString>("node");
        QTest::newRow("ratio 0.01") << "battery" << 3 << "2.25" << "3019,225" << "2.25";
        QTest::newRow("rounds half up") << "battery" << 1 << "12.5" << "3018,13" << "12.5";
        QTest::newRow("option 2.0") << "adjust" << 9 << "2.0" << "3023,200" << "2.0";
        QTest::newRow("option with own value") << "basic" << 0 << "EC" << "3000,4" << "ECO";
        QTest::newRow("system time") << "devinfo" << 14 << "2024/05/06 12:30:00" << "3103,24,05,06,12,30,00" << "24,05,06,12,30,00";
        QTest::newRow("text cut to its points") << "devinfo" << 16 << "0123456789012345" << "3150,01234567890123" << "01234567890123";
        QTest::newRow("below") << "battery" << 0 << "15" << "" << "";
        QTest::newRow("above at ratio 0.01") << "battery" << 3 << "3.66" << "" << "";
        QTest::newRow("cancelled") << "battery" << 0 << "20" << "cancel" << "";
    }

    // The setting dialog sends value / ratio; out of range it says so and stays.
    void dialogSends()
    {
        QFETCH(QString, list);
        QFETCH(int, index);
        QFETCH(QString, input);
        QFETCH(QString, request);
        vek5_10_30k_View catalogue;
        ParameterInformation* param = record(catalogue, list, index);
        Dialog dialog;
        dialog.setDevName("UPS-7");
        dialog.initial(param);
        dialog.show();
        auto* stack = dialog.findChild<QStackedWidget*>();
        if (stack->currentIndex() == Dialog::ValuePage) {
            auto* edit = dialog.findChild<QLineEdit*>();
            edit->clear();
            QTest::keyClicks(edit, input);
        } else {
            QTest::keyClicks(dialog.findChild<QComboBox*>(), input);
        }
        QSignalSpy spy(&dialog, &Dialog::postDEvent);
        QSignalSpy finished(&dialog, &QDialog::finished);
        QString shown;
        if (request.isEmpty())
            answerModals(&dialog, {[&shown](QWidget* box) { shown = box->findChild<QLabel*>()->text(); confirm(box); }});
        QTest::mouseClick(dialog.findChild<QPushButton*>(request == "cancel" ? "btnWhite" : "btnBlue"), Qt::LeftButton);
        if (request == "cancel") {
            QCOMPARE(finished.size(), 1);
            QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Rejected));
            QCOMPARE(spy.size(), 0);
            return;
        }
        if (request.isEmpty()) {
            QTRY_COMPARE_WITH_TIMEOUT(shown, QString("The value is out of range!"), 10000);
            QCOMPARE(spy.size(), 0);
            QVERIFY(dialog.isVisible());
            QCOMPARE(param->valueText, QString("-"));
            return;
        }
        QCOMPARE(spy.size(), 1);
        QCOMPARE(spy.at(0).at(0).toInt(), 1029);
        const QVariantMap map = spy.at(0).at(1).toMap();
        QCOMPARE(map.value("controlId").toInt(), 2016);
        QCOMPARE(map.value("controlValue").toString(), request);
        QTEST(map.value("nodeValue").toString(), "node");
        QCOMPARE(map.value("nodeName").toString(), param->label);
        QCOMPARE(map.value("name").toString(), QString("UPS-7"));
        QCOMPARE(stack->currentIndex(), int(Dialog::BusyPage));   // busy until it closes itself
        QVERIFY(finished.wait(10000));
        QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Accepted));
    }

    // Laid out once; the overview gets data only while shown.
    void viewLayoutAndRefresh()
    {
        vek5View view;
        const DataMap early {{4219, 1}};
        view.flushData(early);
        QCOMPARE(view.m_data, early);
        QVERIFY(view.findChildren<QWidget*>().isEmpty());
        view.refreshLayout();
        const int objects = view.findChildren<QObject*>().size();
        view.refreshLayout();
        QCOMPARE(view.findChildren<QObject*>().size(), objects);
        QCOMPARE(tabs(view)->count(), 5);
        auto* energy = view.findChild<Energyline*>("OverviewTable");
        tabs(view)->setCurrentIndex(1);
        view.flushData(DataMap{{4219, 1}});
        QVERIFY(!energy->energyFlow().isLit(EnergyFlow::InputToRectifier));
        tabs(view)->setCurrentIndex(0);
        view.flushData(DataMap{{4219, 1}});
        QVERIFY(energy->energyFlow().isLit(EnergyFlow::InputToRectifier));
    }

    // The pages as drawn, pixel for pixel, against tests/views/pictures (VEK5_NEW_PICTURES=DIR writes
    // this build's there instead; each is also left beside the test to compare by eye).
    void pictures_data()
    {
        QTest::addColumn<int>("tab");
        QTest::addColumn<DataMap>("data");
        QTest::addColumn<bool>("panels");   // every block clicked for its information panel
        DataMap mains{{4250, 1}, {4248, 2}, {4101, 3}, {4239, 2}, {4240, 2}, {4241, 41.5}, {4107, 25.0}, {4110, 90}, {4111, 100}};
        for (int id = 4133; id <= 4200; ++id)
            mains.insert(id, 10.0 + id % 11);
        for (int id : {4132, 4162, 4191, 4218, 4219, 4220, 4221, 4223})
            mains.insert(id, id < 4200 ? 3 : 1);
        DataMap battery = mains;
        battery.insert({{4250, 2}, {4101, 4}, {4219, 0}, {4220, 0}, {4222, 1}, {4224, 1}, {4103, -240.0}, {4104, 240.0}});
        QTest::newRow("overview on mains") << 0 << mains << false;
        QTest::newRow("overview on battery with panels") << 0 << battery << true;
        QTest::newRow("rtdata") << 2 << mains << false;
        QTest::newRow("control") << 3 << mains << false;
        QTest::newRow("maintenance") << 4 << battery << false;
    }

    void pictures()
    {
        QFETCH(int, tab);
        QFETCH(DataMap, data);
        QFETCH(bool, panels);
        vek5View view;
        view.resize(1280, 860);
        view.refreshLayout();
        view.setUserInfo("operator", 2);
        for (QTimer* t : view.findChildren<QTimer*>())
            t->stop();      // the flow's dashes stay at their start
        tabs(view)->setCurrentIndex(tab);
        view.flushData(data);
        QImage shot(view.size(), QImage::Format_RGB32);
        view.render(&shot);     // laid out
        auto* energy = view.findChild<Energyline*>("OverviewTable");
        for (const QPoint& p : {QPoint(-262, 0), QPoint(-262, -150), QPoint(262, 0), QPoint(0, 117), QPoint(92, 0)})
            if (panels)
                QTest::mouseClick(energy, Qt::LeftButton, Qt::NoModifier, energy->rect().center() + p);
        view.render(&shot);
        const QString name = QString(QTest::currentDataTag()).replace(' ', '-') + ".png";
        QVERIFY(shot.save(qEnvironmentVariable("VEK5_NEW_PICTURES", ".") + '/' + name));
        QCOMPARE(shot, QImage(VEK5_PICTURES_DIR "/" + name).convertToFormat(QImage::Format_RGB32));
    }

    void alarms_data()
    {
        QTest::addColumn<DataMap>("data");
        QTest::addColumn<QList<int>>("rows");
        QTest::newRow("none") << DataMap{} << QList<int>{};
        QTest::newRow("index order") << DataMap{{2300, 1}, {2000, 1}, {2511, 1}} << QList<int>{0, 300, 511};
        QTest::newRow("beyond 511 ignored") << DataMap{{2512, 1}, {1999, 1}} << QList<int>{};
    }

    void alarms()
    {
        QFETCH(DataMap, data);
        QFETCH(QList<int>, rows);
        vek5View view;
        view.refreshLayout();
        tabs(view)->setCurrentIndex(1);
        view.flushData(DataMap{{2100, 1}});   // must go when the next map lacks it
        const QString firstSeen = view.findChild<QTableWidget*>("RecordTable")->item(0, 0)->text();
        view.flushData(data);
        auto* table = view.findChild<QTableWidget*>("RecordTable");
        const QStringList texts = vek5_10_30k_View().getAlarmList();
        QCOMPARE(table->rowCount(), rows.size());
        for (int r = 0; r < rows.size(); ++r) {
            QVERIFY(QDateTime::fromString(table->item(r, 0)->text(), "yyyy-MM-dd hh:mm:ss").isValid());
            QVERIFY(table->item(r, 0)->text() >= firstSeen);
            QCOMPARE(table->item(r, 1)->text(), texts.value(rows.at(r)));
        }
    }

    void buttons_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("accept");
        QTest::addColumn<int>("type");
        QTest::addColumn<QString>("value");   // "FILE": the file chosen in the file dialog that follows
        QTest::newRow("buzzer off") << "buzzer_off" << true << 1010 << "";
        QTest::newRow("declined") << "power_off" << false << 0 << "";
        QTest::newRow("upgrade, not laid out") << "ups_upgrade" << true << 1018 << "";
        QTest::newRow("unknown name") << "mystery" << true << 2016 << "1,300";
        QTest::newRow("system time from its editor") << "timeSet" << true << 1011 << "2024-05-06 12:30";
        QTest::newRow("history, no file chosen") << "download_history_log" << true << 1045 << "";
        QTest::newRow("history to a file") << "download_history_log" << true << 1045 << "FILE";
    }

    void buttons()
    {
        QFETCH(QString, name);
        QFETCH(bool, accept);
        QFETCH(QString, value);
        QTemporaryDir dir;
        const QString path = dir.filePath("export.csv");
        vek5View view;
        view.setName("UPS-A");
        view.refreshLayout();
        auto* button = view.findChild<QPushButton*>(name);
        if (!button) {
            button = new QPushButton("Extra", &view);
            button->setObjectName(name);
            connect(button, &QPushButton::clicked, &view, &vek5View::pushButtonSlot);
        }
        auto* edit = new QDateTimeEdit(QDateTime(QDate(2024, 5, 6), QTime(12, 30)), &view);
        edit->setDisplayFormat("yyyy-MM-dd hh:mm");
        edit->setObjectName("timeEdit");
        QSignalSpy spy(&view, &CollectView::postDEvent);
        QList<Modal> modals {accept ? Modal(confirm) : Modal(decline)};
        if (name == "download_history_log") {
            modals << [path, value](QWidget* w) {
                auto* fd = qobject_cast<QFileDialog*>(w);
                if (value.isEmpty())
                    return fd->reject();
                // Typed into the name field: selectFile() races the directory model.
                fd->findChild<QLineEdit*>("fileNameEdit")->setText(path);
                QMetaObject::invokeMethod(fd, "accept");
            };
        }
        answerModals(&view, modals);
        button->click();
        QCOMPARE(spy.count(), accept ? 1 : 0);
        QCOMPARE(QFileInfo::exists(path), value == "FILE");
        if (!accept)
            return;
        QTEST(spy.at(0).at(0).toInt(), "type");
        const auto record = spy.at(0).at(1).value<QMap<QString, QVariant>>();
        QCOMPARE(record.value("name").toString(), QString("UPS-A"));
        QCOMPARE(record.value("controlValue").toString(), value == "FILE" ? path : value);
    }

    void userLevel_data()
    {
        QTest::addColumn<int>("level");
        QTest::addColumn<QString>("table");
        QTest::addColumn<int>("row");
        QTest::addColumn<bool>("prepared");
        QTest::addColumn<bool>("shown");
        QTest::newRow("guest, battery AH") << 0 << "batteryTable" << 1 << true << false;
        QTest::newRow("level 1, work mode") << 1 << "basicTable" << 0 << false << false;
        QTest::newRow("level 1, battery AH") << 1 << "batteryTable" << 1 << true << true;
        QTest::newRow("level 2, work mode") << 2 << "basicTable" << 0 << true << true;
    }

    // A guest may neither control nor maintain the unit, and a double click only prepares the setting
    // dialog; level 1 may open only some.
    void userLevel()
    {
        QFETCH(int, level);
        QFETCH(QString, table);
        QFETCH(int, row);
        vek5View view;
        view.refreshLayout();
        view.setUserInfo("someone", level == 0 ? 2 : 0);   // the opposite first
        view.setUserInfo("someone", level);
        QCOMPARE(view.findChild<QWidget*>("ControlTable")->isEnabled(), level != 0);
        QCOMPARE(tabs(view)->isTabEnabled(4), level != 0);
        QVERIFY(tabs(view)->isTabEnabled(3));
        auto* widget = view.findChild<QTableWidget*>(table);
        emit widget->cellDoubleClicked(row, 1);
        emit widget->cellDoubleClicked(widget->rowCount(), 1);   // past the end: nothing
        const QString label = widget->item(row, 0)->text();
        bool titled = false;
        for (const QLabel* l : view.settingDialog()->findChildren<QLabel*>())
            titled = titled || l->text() == label;
        QTEST(titled, "prepared");
        QTEST(view.settingDialog()->isVisible(), "shown");
    }
};

QTEST_MAIN(tst_views)
#include "tst_views.moc"
