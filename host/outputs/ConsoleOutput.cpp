#include "ConsoleOutput.h"

#include "EventFormatter.h"

ConsoleOutput::ConsoleOutput(bool json, bool showData, QObject* parent, FILE* out)
    : QObject(parent), m_out(out), m_json(json), m_showData(showData)
{
    m_out.setCodec("UTF-8");
}

void ConsoleOutput::print(const HostEvent& event)
{
    if (!m_showData && event.kind == QLatin1String("data"))
        return;
    m_out << (m_json ? EventFormatter::toJson(event) : EventFormatter::toText(event)) << '\n';
    m_out.flush();
}
