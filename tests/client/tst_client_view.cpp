// The collector's panel: built once by getView, refreshed and named on every
// call, relaying its requests as the collector's own events, and gone with
// the collector.

#include "vek5Client.h"
#include "vek5View.h"

#include <QPointer>
#include <QSignalSpy>
#include <QTabWidget>
#include <QtTest>

class TestClientView : public QObject
{
    Q_OBJECT
private slots:
    void builtOnceRefreshedEveryCall();
    void requestsLeaveThroughTheCollector();
    void deletedWithTheCollector();
    void panelDeletedFirstIsNotDeletedAgain();
};

void TestClientView::builtOnceRefreshedEveryCall()
{
    vek5Client client;
    client.m_devName = "UPS1";
    CollectView* first = client.getView();
    QVERIFY(first);
    QVERIFY(qobject_cast<vek5View*>(first));
    QCOMPARE(first->m_name, QString("UPS1"));
    // The first call laid the pages out.
    auto* tabs = first->findChild<QTabWidget*>("devStacketTable");
    QVERIFY(tabs);
    QCOMPARE(tabs->count(), 5);

    client.m_devName = "UPS2";
    CollectView* second = client.getView();
    QCOMPARE(second, first);
    QCOMPARE(second->m_name, QString("UPS2"));
    // A second layout reuses the widgets instead of adding pages.
    QCOMPARE(second->findChildren<QTabWidget*>("devStacketTable").size(), 1);
    QCOMPARE(tabs->count(), 5);
}

void TestClientView::requestsLeaveThroughTheCollector()
{
    vek5Client client;
    client.m_devName = "UPS1";
    CollectView* view = client.getView();
    QSignalSpy spy(&client, &CollectThread::postDEvent);
    view->control(1009, "");
    QCOMPARE(spy.count(), 1);
    QCOMPARE(spy.at(0).at(0).toInt(), 1009);
    const auto record = spy.at(0).at(1).value<QMap<QString, QVariant>>();
    QCOMPARE(record.value("name").toString(), QString("UPS1"));
    QCOMPARE(record.value("controlId").toInt(), 1009);
}

void TestClientView::deletedWithTheCollector()
{
    QPointer<CollectView> view;
    {
        vek5Client client;
        view = client.getView();
        QVERIFY(view);
    }
    QVERIFY(view.isNull());
}

void TestClientView::panelDeletedFirstIsNotDeletedAgain()
{
    vek5Client client;
    QWidget window;
    CollectView* view = client.getView();
    view->setParent(&window);
    delete view;   // e.g. the host closed the window holding it
    // The collector's destructor must cope; a fresh call builds a new panel.
    CollectView* again = client.getView();
    QVERIFY(again);
}

QTEST_MAIN(TestClientView)
#include "tst_client_view.moc"
