#include "statetexts.h"

#include <QtGlobal>

#define PAGE(text) QT_TRANSLATE_NOOP("vek5_10_30k_View", text)
#define LOG(text) QT_TRANSLATE_NOOP("vek5Font", text)

namespace StateTexts {

// The data log names the first five battery states only.
const StateText battery[] = {
    {PAGE("Disconnect"), LOG("Disconnect")},
    {PAGE("Standby"), LOG("Standby")},
    {PAGE("Const current equalized charge"), LOG("Equalized charge")},
    {PAGE("Const voltage float charge"), LOG("Float charge")},
    {PAGE("Discharge"), LOG("Discharge")},
    {PAGE("Const voltage equalized charge"), nullptr},
};
const std::size_t batteryCount = sizeof battery / sizeof battery[0];

const StateText output[] = {
    {PAGE("None"), LOG("None")},
    {PAGE("Load on bypass"), LOG("Load on bypass")},
    {PAGE("Load on inverter"), LOG("Load on inverter")},
    {PAGE("Load on other"), LOG("Load on other")},
};
const std::size_t outputCount = sizeof output / sizeof output[0];

} // namespace StateTexts
