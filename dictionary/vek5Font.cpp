#include "vek5Font.h"

#include "eventcatalogue.h"
#include "statetexts.h"
#include "points.h"

#include <QByteArray>
#include <QMutex>
#include <QMutexLocker>

#include <limits>

namespace {

// Data-log headings; the position is the heading's index.
const char* const dataLogHeadings[] = {
    QT_TRANSLATE_NOOP("vek5Font", "Battery state"),
    QT_TRANSLATE_NOOP("vek5Font", "Time on battery(s)"),
    QT_TRANSLATE_NOOP("vek5Font", "Remaining battery time(Min)"),
    QT_TRANSLATE_NOOP("vek5Font", "Remaining battery capacity(%)"),
    QT_TRANSLATE_NOOP("vek5Font", "Battery voltage(V)"),
    QT_TRANSLATE_NOOP("vek5Font", "Battery current(A)"),
    QT_TRANSLATE_NOOP("vek5Font", "Battery temperature(C)"),
    QT_TRANSLATE_NOOP("vek5Font", "Number of mains failure"),
    QT_TRANSLATE_NOOP("vek5Font", "Input voltage(V)"),
    QT_TRANSLATE_NOOP("vek5Font", "Input current(A)"),
    QT_TRANSLATE_NOOP("vek5Font", "Input frequency(Hz)"),
    QT_TRANSLATE_NOOP("vek5Font", "Input power(W)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output mode"),
    QT_TRANSLATE_NOOP("vek5Font", "Output frequency(Hz)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output voltage(V)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output current(A)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output power(W)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output load(%)"),
    QT_TRANSLATE_NOOP("vek5Font", "Bypass frequency(Hz)"),
    QT_TRANSLATE_NOOP("vek5Font", "Bypass voltage(V)"),
    QT_TRANSLATE_NOOP("vek5Font", "Bypass current(A)"),
    QT_TRANSLATE_NOOP("vek5Font", "Bypass power(W)"),
    // Three-phase values go under the plain headings above, joined by "/";
    // these stay in the list so that the indices never move.
    QT_TRANSLATE_NOOP("vek5Font", "Input voltage R/S/T(V)"),
    QT_TRANSLATE_NOOP("vek5Font", "Input current R/S/T(A)"),
    QT_TRANSLATE_NOOP("vek5Font", "Input frequency R/S/T(Hz)"),
    QT_TRANSLATE_NOOP("vek5Font", "Input power R/S/T(W)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output voltage R/S/T(V)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output current R/S/T(A)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output power R/S/T(W)"),
    QT_TRANSLATE_NOOP("vek5Font", "Output load R/S/T(%)"),
    QT_TRANSLATE_NOOP("vek5Font", "Bypass voltage R/S/T(V)"),
    QT_TRANSLATE_NOOP("vek5Font", "Bypass current R/S/T(A)"),
    QT_TRANSLATE_NOOP("vek5Font", "Bypass power R/S/T(W)"),
};

// Indices into the headings of the columns the host logs, in the order in
// which changeLogData() fills a row.
const int loggedHeadings[] = {8, 10, 19, 18, 14, 15, 16, 17, 13, 12, 3, 4, 5, 6, 0};

// Below this the temperature probe is taken as absent.
constexpr int LowestTemperature = -10;

// Absent points read as an invalid QVariant, that is 0.
float number(const QMap<int, QVariant>& data, int id)
{
    return data.value(id).toFloat();
}

QString oneDecimal(float value)
{
    return QString::asprintf("%.1f", double(value));
}

// Only a phase count of exactly 3 selects the R/S/T form.
QString phaseValues(const QMap<int, QVariant>& data, bool threePhase, int r, int s, int t)
{
    if (!threePhase)
        return oneDecimal(number(data, r));
    return QString::asprintf("%.1f/%.1f/%.1f", double(number(data, r)), double(number(data, s)),
                             double(number(data, t)));
}

// The negative side carries its own minus sign, so the pair reads "240.0-240.0".
QString positiveNegative(const QMap<int, QVariant>& data, int positive, int negative)
{
    return QString::asprintf("%.1f%.1f", double(number(data, positive)), double(number(data, negative)));
}

// Unknown codes, negative ones included, show the first text.
int codeIndex(int code, int count)
{
    return unsigned(code) < unsigned(count) ? code : 0;
}

// Truncates toward zero; a value no int can hold counts as unknown (-1)
// instead of overflowing the conversion.
int truncated(float value)
{
    constexpr float limit = 2147483648.0f; // 2^31
    static_assert(std::numeric_limits<int>::max() == 2147483647, "32-bit int expected");
    return (value > -limit && value < limit) ? int(value) : -1;
}

// Source text of a clearing code that is not "<appearance> disappear", or null.
const char* exceptionalClearing(int clearingCode)
{
    using namespace EventCatalogue;
    for (std::size_t i = 0; i < clearingExceptionCount; ++i)
        if (clearingExceptions[i].code == clearingCode)
            return clearingExceptions[i].text;
    return nullptr;
}

} // namespace

QAtomicPointer<vek5Font> vek5Font::m_instance = nullptr;

vek5Font* vek5Font::instance()
{
    vek5Font* font = m_instance.loadAcquire();
    if (font)
        return font;
    static QMutex mutex;
    QMutexLocker locker(&mutex);
    font = m_instance.loadAcquire();
    if (!font) {
        font = new vek5Font;
        m_instance.storeRelease(font);
    }
    return font;
}

vek5Font::vek5Font(QObject* parent) : QObject(parent)
{
    for (const char* text : dataLogHeadings)
        m_dataLogDesc << tr(text);
    // The log names a leading run of the codes; codeIndex() shows any other as code 0.
    for (std::size_t i = 0; i < StateTexts::batteryCount && StateTexts::battery[i].dataLog; ++i)
        m_batteryState << tr(StateTexts::battery[i].dataLog);
    for (std::size_t i = 0; i < StateTexts::outputCount && StateTexts::output[i].dataLog; ++i)
        m_outputMode << tr(StateTexts::output[i].dataLog);

    using namespace EventCatalogue;
    QVector<QString> events(2 * HalfSize);
    for (std::size_t i = 0; i < appearanceCount; ++i) {
        const EventText& event = appearance[i];
        const int clearingCode = event.code + HalfSize;
        QByteArray clearing = exceptionalClearing(clearingCode);
        if (clearing.isNull())
            clearing = QByteArray(event.text) + ClearingSuffix;
        events[event.code] = tr(event.text);
        events[clearingCode] = tr(clearing.constData());
    }
    m_eventLogDesc = events.toList();
}

QStringList vek5Font::getDataLogDesc()
{
    QStringList headings;
    for (int index : loggedHeadings)
        headings << m_dataLogDesc.at(index);
    return headings;
}

QStringList vek5Font::changeLogData(QMap<int, QVariant> data)
{
    QStringList row;
    const bool inputThreePhase = data.value(point::InputPhases).toInt() == 3;
    row << phaseValues(data, inputThreePhase, point::InputVoltageR, point::InputVoltageS, point::InputVoltageT);
    row << phaseValues(data, inputThreePhase, point::InputFrequencyR, point::InputFrequencyS,
                       point::InputFrequencyT);
    row << phaseValues(data, data.value(point::BypassPhases).toInt() == 3, point::BypassVoltageR,
                       point::BypassVoltageS, point::BypassVoltageT);
    row << oneDecimal(number(data, point::BypassFrequencyR));

    const int mode = codeIndex(data.value(point::OutputLoadOn).toInt(), m_outputMode.size());

    const bool outputThreePhase = data.value(point::OutputPhases).toInt() == 3;
    row << phaseValues(data, outputThreePhase, point::OutputVoltageR, point::OutputVoltageS,
                       point::OutputVoltageT);
    row << phaseValues(data, outputThreePhase, point::OutputCurrentR, point::OutputCurrentS,
                       point::OutputCurrentT);
    row << phaseValues(data, outputThreePhase, point::OutputKwR, point::OutputKwS, point::OutputKwT);
    row << phaseValues(data, outputThreePhase, point::OutputLoadR, point::OutputLoadS, point::OutputLoadT);
    row << oneDecimal(number(data, point::OutputFrequencyR));
    row << m_outputMode.at(mode);

    const int state = codeIndex(truncated(number(data, point::BatteryStatus)), m_batteryState.size());

    row << oneDecimal(number(data, point::BatteryCapacity));
    row << positiveNegative(data, point::BatteryVoltagePositive, point::BatteryVoltageNegative);
    row << positiveNegative(data, point::BatteryCurrentPositive, point::BatteryCurrentNegative);
    row << (data.value(point::BatteryTemperature).toInt() >= LowestTemperature
                ? oneDecimal(number(data, point::BatteryTemperature))
                : QStringLiteral("-"));
    row << m_batteryState.at(state);
    return row;
}

QStringList vek5Font::getEventLogDesc()
{
    return m_eventLogDesc;
}

void vek5Font::flushData(QMap<int, QVariant> data)
{
    m_data = data;
}
