#include <QtTest>

#include <QApplication>
#include <QComboBox>
#include <QDateTime>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QStackedWidget>

#include <functional>

#include "Dialog.h"
#include "Loading.h"
#include "MsgBox.h"
#include "vek5_10_30k_View.h"

class tst_views_dialog : public QObject
{
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void looks();
    void initial_data();
    void initial();
    void send_data();
    void send();
    void outOfRange_data();
    void outOfRange();
    void cancel();
    void msgBoxAnswer_data();
    void msgBoxAnswer();
    void msgBoxDrag();
    void loadingPaints();
    void pictures();

private:
    ParameterInformation* record(const QString& list, int index);
    void enter(const QString& input);
    QPushButton* button(QWidget* parent, const char* name);

    vek5_10_30k_View* m_catalogue = nullptr;
    Dialog* m_dialog = nullptr;
};

ParameterInformation* tst_views_dialog::record(const QString& list, int index)
{
    const QMap<QString, std::function<QList<ParameterInformation*>()>> getters = {
        {"basicConfig", [this] { return m_catalogue->getBasicConfig(); }},
        {"batteryConfig", [this] { return m_catalogue->getBatteryConfig(); }},
        {"adjustConfig", [this] { return m_catalogue->getAdjustConfig(); }},
        {"devInfoConfig", [this] { return m_catalogue->getDevInfoConfig(); }},
    };
    return getters.value(list)().value(index);
}

QPushButton* tst_views_dialog::button(QWidget* parent, const char* name)
{
    return parent->findChild<QPushButton*>(name);
}

// Types into the value field (replacing its text) or picks an option by
// typing its first characters into the combo box, as a user would.
void tst_views_dialog::enter(const QString& input)
{
    auto* stack = m_dialog->findChild<QStackedWidget*>();
    if (stack->currentIndex() == Dialog::ValuePage) {
        auto* edit = m_dialog->findChild<QLineEdit*>();
        QTest::keyClick(edit, Qt::Key_A, Qt::ControlModifier);
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, input);
    } else {
        QTest::keyClicks(m_dialog->findChild<QComboBox*>(), input);
    }
}

// A fresh catalogue per case: sending a value changes its record's text.
void tst_views_dialog::init()
{
    m_catalogue = new vek5_10_30k_View;
    m_dialog = new Dialog;
    m_dialog->setDevName("UPS-7");
}

void tst_views_dialog::cleanup()
{
    delete m_dialog;
    m_dialog = nullptr;
    delete m_catalogue;
    m_catalogue = nullptr;
}

void tst_views_dialog::looks()
{
    QCOMPARE(m_dialog->objectName(), QString("WhiteDialog"));
    QVERIFY(m_dialog->windowFlags() & Qt::FramelessWindowHint);
    QCOMPARE(m_dialog->minimumSize(), QSize(300, 170));
    QCOMPARE(m_dialog->property("canMove").toBool(), true);
    QCOMPARE(m_dialog->font().family(), QString("Microsoft YaHei"));
    QCOMPARE(button(m_dialog, "btnBlue")->text(), QString("Ok"));
    QCOMPARE(button(m_dialog, "btnWhite")->text(), QString("Cancel"));
    QCOMPARE(m_dialog->findChild<QStackedWidget*>()->count(), 3);
    QVERIFY(qobject_cast<Loading*>(m_dialog->findChild<QStackedWidget*>()->widget(Dialog::BusyPage)));
}

void tst_views_dialog::initial_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<int>("index");
    QTest::addColumn<int>("page");
    QTest::addColumn<QString>("range");
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QList<int>>("data");

    QTest::newRow("ratio 0.01 range") << "batteryConfig" << 3 << 0 << "Range:2.1~3.65"
                                      << QStringList() << QList<int>();
    QTest::newRow("ratio 0.1 range") << "adjustConfig" << 1 << 0 << "Range:0.5~5" << QStringList()
                                     << QList<int>();
    QTest::newRow("no range") << "adjustConfig" << 0 << 0 << "" << QStringList() << QList<int>();
    QTest::newRow("options in map order")
        << "basicConfig" << 0 << 1 << ""
        << QStringList{"ECO", "Parallel operation", "Parallels ECO", "Self ageing", "Stand alone"}
        << QList<int>{4, 2, 6, 8, 1};
    QTest::newRow("duplicate option once") << "devInfoConfig" << 17 << 1 << ""
                                           << QStringList{"19200", "2400", "4800", "9600"}
                                           << QList<int>{4, 1, 2, 3};
}

void tst_views_dialog::initial()
{
    QFETCH(QString, list);
    QFETCH(int, index);
    QFETCH(int, page);
    QFETCH(QString, range);
    QFETCH(QStringList, options);
    QFETCH(QList<int>, data);

    ParameterInformation* param = record(list, index);
    param->valueText = "42";
    m_dialog->initial(param);
    auto labels = m_dialog->findChildren<QLabel*>();
    auto hasLabel = [&labels](const QString& text) {
        return std::any_of(labels.begin(), labels.end(),
                           [&text](QLabel* l) { return l->text() == text; });
    };
    QVERIFY(hasLabel(param->label));
    if (!range.isEmpty())
        QVERIFY2(hasLabel(range), qPrintable(range));
    QVERIFY(!hasLabel(QString()) || range.isEmpty());
    for (QLabel* label : labels)
        QVERIFY2(!label->text().startsWith("Range:") || label->text() == range,
                 qPrintable(label->text()));

    QCOMPARE(m_dialog->findChild<QStackedWidget*>()->currentIndex(), page);
    QCOMPARE(m_dialog->findChild<QLineEdit*>()->text(), QString("42"));
    auto* combo = m_dialog->findChild<QComboBox*>();
    QStringList texts;
    QList<int> values;
    for (int i = 0; i < combo->count(); ++i) {
        texts << combo->itemText(i);
        values << combo->itemData(i).toInt();
    }
    QCOMPARE(texts, options);
    QCOMPARE(values, data);
}

void tst_views_dialog::send_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("input");
    QTest::addColumn<QString>("entered"); // shown as the current setting afterwards
    QTest::addColumn<QString>("request");
    QTest::addColumn<QString>("node");
    QTest::addColumn<int>("delay");

    auto row = [](const char* tag, const char* list, int index, const char* input,
                  const char* entered, const char* request, const char* node, int delay) {
        QTest::newRow(tag) << QString(list) << index << QString(input) << QString(entered)
                           << QString(request) << QString(node) << delay;
    };
    row("ratio 0.01", "batteryConfig", 3, "2.25", "2.25", "3019,225", "2.25", 1000);
    row("ratio 0.1", "adjustConfig", 1, "5", "5", "3004,50", "5", 1000);
    row("lower limit", "batteryConfig", 0, "16", "16", "3017,16", "16", 1000);
    row("upper limit", "batteryConfig", 0, "180", "180", "3017,180", "180", 1000);
    row("rounds half up", "batteryConfig", 1, "12.5", "12.5", "3018,13", "12.5", 1000);
    row("not a number reads 0", "batteryConfig", 9, "abc", "abc", "3029,0", "abc", 1000);
    row("option 0.5", "adjustConfig", 9, "0.5", "0.5", "3023,50", "0.5", 2000);
    row("option 2.0", "adjustConfig", 9, "2.0", "2.0", "3023,200", "2.0", 2000);
    row("option with own value", "basicConfig", 0, "EC", "ECO", "3000,4", "ECO", 2000);
    row("option rated voltage", "devInfoConfig", 5, "24", "240", "3039,240", "240", 2000);
    row("system time", "devInfoConfig", 14, "2024/05/06 12:30:00", "2024/05/06 12:30:00",
        "3103,24,05,06,12,30,00", "24,05,06,12,30,00", 2000);
    row("text cut to its points", "devInfoConfig", 16, "0123456789012345", "0123456789012345",
        "3150,01234567890123", "01234567890123", 2000);
    row("short text kept", "devInfoConfig", 12, "AB C", "AB C", "3077,AB C", "AB C", 2000);
    row("no range, ratio 1", "adjustConfig", 0, "-3", "-3", "3003,-2", "-3", 2000);
    row("no range, ratio 0.01", "adjustConfig", 2, "1.5", "1.5", "3016,150", "1.5", 2000);
}

void tst_views_dialog::send()
{
    QFETCH(QString, list);
    QFETCH(int, index);
    QFETCH(QString, input);
    QFETCH(QString, entered);
    QFETCH(QString, request);
    QFETCH(QString, node);
    QFETCH(int, delay);

    ParameterInformation* param = record(list, index);
    m_dialog->initial(param);
    m_dialog->show();
    enter(input);
    QCOMPARE(m_dialog->getstrValue(), entered);

    QSignalSpy spy(m_dialog, &Dialog::postDEvent);
    QSignalSpy finished(m_dialog, &QDialog::finished);
    QElapsedTimer clock;
    clock.start();
    QTest::mouseClick(button(m_dialog, "btnBlue"), Qt::LeftButton);

    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 1029);
    const QVariantMap map = spy.at(0).at(1).toMap();
    QCOMPARE(map.size(), 5);
    QCOMPARE(map.value("controlId").toInt(), 2016);
    QCOMPARE(map.value("controlValue").toString(), request);
    QCOMPARE(map.value("nodeValue").toString(), node);
    QCOMPARE(map.value("nodeName").toString(), param->label);
    QCOMPARE(map.value("name").toString(), QString("UPS-7"));
    QCOMPARE(param->valueText, entered);
    QCOMPARE(m_dialog->findChild<QStackedWidget*>()->currentIndex(), int(Dialog::BusyPage));
    QVERIFY(m_dialog->isVisible());

    QVERIFY(finished.wait(delay + 1000));
    const qint64 elapsed = clock.elapsed();
    QVERIFY2(elapsed >= delay - 20 && elapsed < delay + 500, qPrintable(QString::number(elapsed)));
    QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Accepted));
    QVERIFY(!m_dialog->isVisible());
    QCOMPARE(spy.count(), 1);
}

void tst_views_dialog::outOfRange_data()
{
    QTest::addColumn<QString>("list");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("input");

    QTest::newRow("below") << "batteryConfig" << 0 << "15";
    QTest::newRow("above") << "batteryConfig" << 0 << "181";
    QTest::newRow("above at ratio 0.01") << "batteryConfig" << 3 << "3.66";
    QTest::newRow("below at ratio 0.01") << "batteryConfig" << 3 << "2.09";
    QTest::newRow("above at ratio 0.1") << "adjustConfig" << 4 << "5.1";
    QTest::newRow("huge") << "batteryConfig" << 1 << "1e30";
    QTest::newRow("not a number below 1") << "batteryConfig" << 1 << "x";
}

void tst_views_dialog::outOfRange()
{
    QFETCH(QString, list);
    QFETCH(int, index);
    QFETCH(QString, input);

    ParameterInformation* param = record(list, index);
    m_dialog->initial(param);
    m_dialog->show();
    enter(input);

    QString shown;
    bool cancelShown = true;
    QTimer::singleShot(0, [&] {
        QWidget* box = QApplication::activeModalWidget();
        QVERIFY(qobject_cast<MsgBox*>(box));
        shown = box->findChild<QLabel*>()->text();
        cancelShown = button(box, "btnWhite")->isVisible();
        QTest::mouseClick(button(box, "btnBlue"), Qt::LeftButton);
    });
    QSignalSpy spy(m_dialog, &Dialog::postDEvent);
    QTest::mouseClick(button(m_dialog, "btnBlue"), Qt::LeftButton);

    QCOMPARE(shown, QString("The value is out of range!"));
    QVERIFY(!cancelShown);
    QCOMPARE(spy.count(), 0);
    QVERIFY(m_dialog->isVisible());
    QCOMPARE(m_dialog->findChild<QStackedWidget*>()->currentIndex(), int(Dialog::ValuePage));
    QCOMPARE(param->valueText, QString("-"));
    QVERIFY(!m_dialog->findChild<MsgBox*>());
}

void tst_views_dialog::cancel()
{
    m_dialog->initial(record("batteryConfig", 0));
    m_dialog->show();
    enter("20");
    QSignalSpy spy(m_dialog, &Dialog::postDEvent);
    QSignalSpy finished(m_dialog, &QDialog::finished);
    QTest::mouseClick(button(m_dialog, "btnWhite"), Qt::LeftButton);
    QCOMPARE(spy.count(), 0);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.at(0).at(0).toInt(), int(QDialog::Rejected));
    QVERIFY(!m_dialog->isVisible());
}

void tst_views_dialog::msgBoxAnswer_data()
{
    QTest::addColumn<int>("kind");
    QTest::addColumn<QByteArray>("press");
    QTest::addColumn<bool>("cancelVisible");
    QTest::addColumn<int>("result");

    QTest::newRow("question, ok") << 1 << QByteArray("btnBlue") << true << 1;
    QTest::newRow("question, cancel") << 1 << QByteArray("btnWhite") << true << 0;
    QTest::newRow("notice, ok") << 0 << QByteArray("btnBlue") << false << 1;
    QTest::newRow("other kind is a notice") << 2 << QByteArray("btnBlue") << false << 1;
}

void tst_views_dialog::msgBoxAnswer()
{
    QFETCH(int, kind);
    QFETCH(QByteArray, press);
    QFETCH(bool, cancelVisible);
    QFETCH(int, result);

    MsgBox box(kind, "Turn off?");
    QCOMPARE(box.objectName(), QString("WhiteDialog"));
    QVERIFY(box.windowFlags() & Qt::FramelessWindowHint);
    QCOMPARE(box.minimumSize(), QSize(300, 150));
    QCOMPARE(box.property("canMove").toBool(), true);
    QCOMPARE(box.findChild<QLabel*>()->alignment(), Qt::Alignment(Qt::AlignCenter));
    bool seen = false;
    QTimer::singleShot(0, [&] {
        seen = button(&box, "btnWhite")->isVisible();
        QTest::mouseClick(button(&box, press.constData()), Qt::LeftButton);
    });
    QCOMPARE(box.exec(), result);
    QCOMPARE(seen, cancelVisible);
}

void tst_views_dialog::msgBoxDrag()
{
    MsgBox box(0, "notice");
    box.show();
    box.move(100, 100);
    const QPoint start = box.pos();
    auto send = [&box](QEvent::Type type, QPoint local, Qt::MouseButton button) {
        QMouseEvent event(type, local, box.mapToGlobal(local), button, button, Qt::NoModifier);
        QApplication::sendEvent(&box, &event);
    };
    // A move without a press does nothing.
    QMouseEvent loose(QEvent::MouseMove, QPoint(5, 5), start + QPoint(50, 50), Qt::NoButton,
                      Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&box, &loose);
    QCOMPARE(box.pos(), start);

    send(QEvent::MouseButtonPress, QPoint(10, 12), Qt::LeftButton);
    QMouseEvent drag(QEvent::MouseMove, QPoint(0, 0), start + QPoint(10 + 40, 12 + 25),
                     Qt::NoButton, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&box, &drag);
    QCOMPARE(box.pos(), start + QPoint(40, 25));

    send(QEvent::MouseButtonRelease, QPoint(10, 12), Qt::LeftButton);
    QMouseEvent after(QEvent::MouseMove, QPoint(0, 0), start + QPoint(300, 300), Qt::NoButton,
                      Qt::NoButton, Qt::NoModifier);
    QApplication::sendEvent(&box, &after);
    QCOMPARE(box.pos(), start + QPoint(40, 25));
}

void tst_views_dialog::loadingPaints()
{
    Loading loading;
    loading.resize(80, 80);
    QImage image(80, 80, QImage::Format_ARGB32);
    image.fill(Qt::white);
    {
        QPainter painter(&image);
        loading.drawLoading(&painter);
    }
    // Some pixel carries the ring colour at full strength.
    bool ring = false;
    for (int y = 0; y < image.height() && !ring; ++y)
        for (int x = 0; x < image.width() && !ring; ++x)
            ring = image.pixelColor(x, y) == QColor(255, 190, 15);
    QVERIFY(ring);
    QCOMPARE(image.pixelColor(0, 0), QColor(Qt::white));
}

// Renders the value page, the option page and a question box to PNG files
// in the working directory, for a look at the layout.
void tst_views_dialog::pictures()
{
    struct Shot
    {
        QWidget* widget;
        const char* file;
    };
    m_dialog->initial(record("batteryConfig", 3));
    Dialog options;
    options.initial(record("adjustConfig", 9));
    MsgBox box(1, "Turn off?");

    for (const Shot& shot : {Shot{m_dialog, "dialog-value.png"}, Shot{&options, "dialog-option.png"},
                             Shot{&box, "msgbox.png"}}) {
        shot.widget->show();
        QVERIFY(QTest::qWaitForWindowExposed(shot.widget));
        const QPixmap pixmap = shot.widget->grab();
        QVERIFY(pixmap.width() >= shot.widget->minimumWidth());
        QVERIFY(pixmap.save(shot.file));
        QVERIFY(!QImage(shot.file).isNull());
    }
}

QTEST_MAIN(tst_views_dialog)
#include "tst_views_dialog.moc"
