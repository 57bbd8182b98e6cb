#include "HelperTable.h"

#include <cstddef>
#include <cstdint>
#include <dlfcn.h>
#include <link.h>

namespace {

template <typename Fn>
bool lookUp(void* module, const char* name, Fn& out)
{
    out = reinterpret_cast<Fn>(dlsym(module, name));
    return out != nullptr;
}

constexpr std::uint64_t kUnknown = ~std::uint64_t(0);

// Modules unloaded so far in this process: a pointer that named a module
// still names it while this does not change.
std::uint64_t unloadCount()
{
    std::uint64_t count = kUnknown;
    dl_iterate_phdr([](dl_phdr_info* info, size_t size, void* out) {
        if (size >= offsetof(dl_phdr_info, dlpi_subs) + sizeof(info->dlpi_subs))
            *static_cast<std::uint64_t*>(out) = info->dlpi_subs;
        return 1;
    }, &count);
    return count;
}

} // namespace

bool HelperTable::resolve(const void* anchor)
{
    *this = HelperTable();
    if (anchor == nullptr)
        return false;
    // A poller asks on every read, always with the same anchor. Finding its
    // module (a walk of every loaded object) and looking five names up there
    // took up to a tenth of an idle host's CPU, so the thread keeps what it found
    // last, for as long as no module has been unloaded.
    struct Found
    {
        const void* anchor;
        std::uint64_t unloads;
        HelperTable table;
    };
    static thread_local Found last = {nullptr, 0, HelperTable()};
    const std::uint64_t unloads = unloadCount();
    if (unloads != kUnknown && last.anchor == anchor && last.unloads == unloads) {
        *this = last.table;
        return true;
    }
    Dl_info info = {};
    if (dladdr(anchor, &info) == 0 || info.dli_fname == nullptr)
        return false;
    // Take an extra reference on the already loaded module only; the main
    // program is not found by its path, so fall back to its own handle.
    void* module = dlopen(info.dli_fname, RTLD_LAZY | RTLD_NOLOAD);
    if (module == nullptr)
        module = dlopen(nullptr, RTLD_LAZY);
    if (module == nullptr)
        return false;
    const bool found = lookUp(module, "buildCmd", buildCmd)
            && lookUp(module, "buildCmd16", buildCmd16)
            && lookUp(module, "mod_Set_SetBuf", setSingle)
            && lookUp(module, "checkModbufCRC", checkCrc)
            && lookUp(module, "UINT8_2_to_UINT16", toUint16);
    // The module stays loaded through the reference its loader holds; the
    // pointers remain valid for the whole driver call.
    dlclose(module);
    if (!found)
        *this = HelperTable();
    else
        last = {anchor, unloads, *this};
    return found;
}
