#include "MainWindow.h"

#include <QComboBox>
#include <QDockWidget>
#include <QHeaderView>
#include <QLabel>
#include <QListWidget>
#include <QStackedWidget>
#include <QTableWidget>
#include <QToolBar>
#include <QVBoxLayout>

#include "CollectView.h"
#include "HostMonitor.h"
#include "UnitSession.h"

namespace {

const char* const kUserName = "operator";

struct StateLook
{
    const char* text;
    QColor colour;
};

StateLook lookOf(int state)
{
    switch (state) {
    case UnitSession::Communicating: return {"communicating", QColor(0x2E, 0xA0, 0x4A)};
    case UnitSession::Lost: return {"communication lost", QColor(0xD0, 0x3A, 0x2F)};
    default: return {"waiting for the unit", QColor(0x8A, 0x90, 0x9C)};
    }
}

QColor colourOfKind(const QString& kind)
{
    if (kind == QLatin1String("error"))
        return QColor(0xD0, 0x3A, 0x2F);
    if (kind == QLatin1String("alarm") || kind == QLatin1String("notice"))
        return QColor(0xB3, 0x6B, 0x00);
    return QColor(0x1F, 0x2A, 0x44);
}

} // namespace

MainWindow::MainWindow(HostMonitor* monitor, int userLevel, QWidget* parent)
    : QMainWindow(parent), m_monitor(monitor)
{
    setWindowTitle(tr("UPS monitor"));
    resize(1280, 900);

    m_pages = new QStackedWidget(this);
    setCentralWidget(m_pages);

    m_units = new QListWidget;
    m_units->setObjectName(QStringLiteral("unitList"));
    auto* unitDock = new QDockWidget(tr("Units"), this);
    unitDock->setObjectName(QStringLiteral("unitDock"));
    unitDock->setFeatures(QDockWidget::NoDockWidgetFeatures);
    unitDock->setWidget(m_units);
    addDockWidget(Qt::LeftDockWidgetArea, unitDock);

    m_events = new QTableWidget(0, 4);
    m_events->setObjectName(QStringLiteral("eventLog"));
    m_events->setHorizontalHeaderLabels({tr("Time"), tr("Unit"), tr("Kind"), tr("Event")});
    m_events->horizontalHeader()->setStretchLastSection(true);
    // Room for a whole time stamp; resizing to contents would measure every
    // row on every insert.
    m_events->setColumnWidth(0, m_events->fontMetrics().horizontalAdvance(
                                    QStringLiteral("0000-00-00 00:00:00")) + 24);
    m_events->verticalHeader()->hide();
    m_events->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_events->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_events->setAlternatingRowColors(true);
    auto* eventDock = new QDockWidget(tr("Event log"), this);
    eventDock->setObjectName(QStringLiteral("eventDock"));
    eventDock->setFeatures(QDockWidget::NoDockWidgetFeatures);
    eventDock->setWidget(m_events);
    addDockWidget(Qt::BottomDockWidgetArea, eventDock);

    m_level = new QComboBox;
    m_level->setObjectName(QStringLiteral("userLevel"));
    m_level->addItems({tr("0 - view only"), tr("1 - operator"), tr("2 - administrator")});
    auto* bar = addToolBar(tr("User"));
    bar->setObjectName(QStringLiteral("userBar"));
    bar->setMovable(false);
    bar->addWidget(new QLabel(tr("User level: ")));
    bar->addWidget(m_level);

    for (UnitSession* s : monitor->sessions()) {
        auto* item = new QListWidgetItem(m_units);
        item->setData(Qt::UserRole, s->settings().name);
        auto* page = new QWidget;
        page->setObjectName(QStringLiteral("UnitPage"));
        auto* layout = new QVBoxLayout(page);
        layout->setContentsMargins(0, 0, 0, 0);
        if (s->view()) {
            layout->addWidget(s->view());
        } else {
            auto* none = new QLabel(tr("%1 (%2) has no panel.").arg(s->settings().name,
                                                                     s->settings().target()));
            none->setObjectName(QStringLiteral("NoPanel"));
            none->setAlignment(Qt::AlignCenter);
            layout->addWidget(none);
        }
        m_pages->addWidget(page);
        setCommState(s->settings().name, s->commState());
    }
    connect(m_units, &QListWidget::currentRowChanged, m_pages, &QStackedWidget::setCurrentIndex);
    m_units->setCurrentRow(0);

    connect(monitor, &HostMonitor::hostEvent, this, &MainWindow::addEvent);
    connect(monitor, &HostMonitor::commStateChanged, this, &MainWindow::setCommState);
    connect(m_level, QOverload<int>::of(&QComboBox::currentIndexChanged), this,
            &MainWindow::setUserLevel);
    m_level->setCurrentIndex(userLevel);
    setUserLevel(userLevel);
}

void MainWindow::addEvent(const HostEvent& event)
{
    if (event.kind == QLatin1String("data"))
        return;
    if (m_events->rowCount() >= kMaxEventRows)
        m_events->removeRow(m_events->rowCount() - 1);
    m_events->insertRow(0);
    const QStringList cells{event.time, event.unit, event.kind, event.text};
    for (int c = 0; c < cells.size(); ++c) {
        auto* item = new QTableWidgetItem(cells.at(c));
        item->setForeground(colourOfKind(event.kind));
        m_events->setItem(0, c, item);
    }
}

void MainWindow::setCommState(const QString& unit, int state)
{
    const auto& sessions = m_monitor->sessions();
    for (int row = 0; row < m_units->count() && row < sessions.size(); ++row) {
        QListWidgetItem* item = m_units->item(row);
        if (item->data(Qt::UserRole).toString() != unit)
            continue;
        const StateLook look = lookOf(state);
        item->setText(QStringLiteral("%1\n%2\n%3").arg(unit, sessions.at(row)->settings().target(),
                                                      tr(look.text)));
        item->setBackground(look.colour.lighter(170));
        item->setForeground(look.colour.darker(150));
    }
}

void MainWindow::setUserLevel(int level)
{
    for (UnitSession* s : m_monitor->sessions())
        if (s->view())
            s->view()->setUserInfo(QLatin1String(kUserName), level);
}
