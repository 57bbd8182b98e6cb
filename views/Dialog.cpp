#include "Dialog.h"

#include <QComboBox>
#include <QDateTime>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QStackedWidget>
#include <QVBoxLayout>

#include <climits>
#include <cmath>

#include "UpsCommand.h"
#include "EventTypes.h"
#include "Loading.h"
#include "MsgBox.h"
#include "ParameterInformation.h"
#include "RecordKeys.h"
#include "points.h"

namespace {

const int systemTimePoint = point::SystemTime;
const int checkedCloseMs = 1000;
const int uncheckedCloseMs = 2000;

bool sameRatio(float a, float b)
{
    return std::fabs(a - b) <= std::fabs(b) / 100000.0f;
}

// Round half up by adding 0.5 and truncating, kept inside the int range so
// that absurd entries cannot overflow the conversion.
int roundRaw(float value)
{
    const double shifted = double(value) + 0.5;
    if (std::isnan(shifted))
        return 0;
    if (shifted >= double(INT_MAX))
        return INT_MAX;
    if (shifted <= double(INT_MIN))
        return INT_MIN;
    return static_cast<int>(shifted);
}

QWidget* labelledPage(QLabel* caption, QWidget* field)
{
    auto* page = new QWidget;
    auto* layout = new QHBoxLayout(page);
    layout->addWidget(caption);
    layout->addWidget(field, 1);
    return page;
}

} // namespace

Dialog::Dialog(QWidget* parent) : QDialog(parent, Qt::Dialog | Qt::FramelessWindowHint)
{
    setObjectName("WhiteDialog");
    setMinimumSize(300, 170);
    setFont(QFont("Microsoft YaHei"));
    setProperty("canMove", true);

    m_title = new QLabel(this);
    m_title->setAlignment(Qt::AlignCenter);
    m_range = new QLabel(this);
    m_range->setAlignment(Qt::AlignCenter);

    m_lineEdit = new QLineEdit;
    m_comboBox = new QComboBox;
    m_loading = new Loading;
    m_stack = new QStackedWidget(this);
    m_stack->addWidget(labelledPage(new QLabel(tr("Value:")), m_lineEdit));
    m_stack->addWidget(labelledPage(new QLabel(tr("Option:")), m_comboBox));
    m_stack->addWidget(m_loading);

    m_okBtn = new QPushButton(tr("Ok"), this);
    m_okBtn->setObjectName("btnBlue");
    m_cancelBtn = new QPushButton(tr("Cancel"), this);
    m_cancelBtn->setObjectName("btnWhite");

    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(m_okBtn);
    buttons->addWidget(m_cancelBtn);
    buttons->addStretch();

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_title);
    layout->addWidget(m_stack);
    layout->addWidget(m_range);
    layout->addLayout(buttons);

    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &QDialog::accept);
    connect(m_okBtn, &QPushButton::clicked, this, &Dialog::checkRange);
    connect(m_cancelBtn, &QPushButton::clicked, this, &QDialog::reject);
}

void Dialog::initial(ParameterInformation* record)
{
    m_timer.stop();
    m_okBtn->setEnabled(true);
    m_comboBox->clear();
    m_record = record;
    if (!record)
        return;

    m_title->setText(record->label);
    m_ratio = record->ratio;
    m_minRaw = record->minRaw;
    m_maxRaw = record->maxRaw;
    if (record->hasRange())
        m_range->setText(record->rangeText(tr("Range:%1~%2")));
    else
        m_range->clear();

    if (record->pointId == systemTimePoint)
        m_lineEdit->setText(QDateTime::currentDateTime().toString("yyyy/MM/dd hh:mm:ss"));
    else
        m_lineEdit->setText(record->valueText);

    if (record->comboMap.isEmpty()) {
        m_mode = 0;
        switchPage(ValuePage);
    } else {
        m_mode = 1;
        for (auto it = record->comboMap.constBegin(); it != record->comboMap.constEnd(); ++it)
            m_comboBox->addItem(it.key(), it.value());
        switchPage(OptionPage);
    }
}

void Dialog::setDevName(QString name)
{
    m_devName = name;
}

void Dialog::switchPage(int index)
{
    m_stack->setCurrentIndex(index);
}

QString Dialog::getstrValue()
{
    return m_mode == 0 ? m_lineEdit->text() : m_comboBox->currentText();
}

int Dialog::getrealValue()
{
    if (m_mode == 0) {
        m_value = m_lineEdit->text().toFloat();
        if (sameRatio(m_ratio, 0.1f))
            m_value *= 10;
        else if (sameRatio(m_ratio, 0.01f))
            m_value *= 100;
        else if (!sameRatio(m_ratio, 1.0f))
            m_value /= m_ratio;
    } else {
        m_value = m_comboBox->currentData().toFloat();
        // "0.5" is stored truncated to 0; the text restores it.
        if (m_value == 0.0f && m_comboBox->currentText() == QLatin1String("0.5"))
            m_value = 0.5f;
        if (m_ratio != 0.0f)
            m_value /= m_ratio;
    }
    return roundRaw(m_value);
}

// The text sent as "nodeValue": texts longer than their points are cut, and
// the system time goes as its digit runs without the century.
QString Dialog::nodeValue(const QString& text) const
{
    if (m_record->type != 9 || text.size() <= m_record->pointCount)
        return text;
    if (m_record->pointId != systemTimePoint)
        return text.left(m_record->pointCount);

    QString date = text;
    if (date.startsWith(QLatin1String("20")))
        date.remove(0, 2);
    QStringList runs;
    QRegularExpressionMatchIterator it = QRegularExpression("\\d+").globalMatch(date);
    while (it.hasNext())
        runs << it.next().captured();
    return runs.join(',');
}

void Dialog::checkRange()
{
    if (!m_record)
        return;

    int delay = uncheckedCloseMs;
    if (m_minRaw != 0 || m_maxRaw != 0) {
        const int raw = getrealValue();
        if (raw < m_minRaw || raw > m_maxRaw) {
            auto* box = new MsgBox(0, tr("The value is out of range!"), this);
            box->exec();
            delete box;
            return;
        }
        delay = checkedCloseMs;
    }
    switchPage(BusyPage);
    m_okBtn->setEnabled(false);

    const QString text = getstrValue();
    if (!text.isEmpty())
        m_record->valueText = text;

    QString node = text;
    QString request;
    if (m_record->type == 9) {
        node = nodeValue(text);
        request = QStringLiteral("%1,%2").arg(m_record->pointId).arg(node);
    } else {
        request = QStringLiteral("%1,%2").arg(m_record->pointId).arg(getrealValue());
    }

    QMap<QString, QVariant> map;
    map.insert(RecordKey::ControlId, int(UpsCommand::RawSetting));
    map.insert(RecordKey::ControlValue, request);
    map.insert(RecordKey::NodeValue, node);
    map.insert(RecordKey::NodeName, m_record->label);
    map.insert(RecordKey::Name, m_devName);
    emit postDEvent(EventType::SettingRequest, map);

    m_timer.start(delay);
}
