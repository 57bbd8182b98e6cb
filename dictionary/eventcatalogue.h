#ifndef EVENTCATALOGUE_H
#define EVENTCATALOGUE_H

// The UPS event catalogue as source texts. Code c (0..497) names the
// appearance of an event, c + 498 its clearing; vek5Font translates the
// texts and lays them out as one list of 996 entries.

#include <cstddef>

struct EventText
{
    int code;
    const char* text;
};

namespace EventCatalogue {

// Number of appearance codes, and so the offset of the clearing half.
constexpr int HalfSize = 498;

// Clearing texts are the appearance text followed by this suffix ...
constexpr const char ClearingSuffix[] = " disappear";

// ... except for the codes of this table, keyed by clearing code.
extern const EventText clearingExceptions[];
extern const std::size_t clearingExceptionCount;

// Every appearance text that names an event, in code order. Codes missing
// here are reserved and stay empty in both halves.
extern const EventText appearance[];
extern const std::size_t appearanceCount;

} // namespace EventCatalogue

#endif // EVENTCATALOGUE_H
