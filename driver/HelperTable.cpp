#include "HelperTable.h"

#include <dlfcn.h>

namespace {

template <typename Fn>
bool lookUp(void* module, const char* name, Fn& out)
{
    out = reinterpret_cast<Fn>(dlsym(module, name));
    return out != nullptr;
}

} // namespace

bool HelperTable::resolve(const void* anchor)
{
    *this = HelperTable();
    Dl_info info = {};
    if (anchor == nullptr || dladdr(anchor, &info) == 0 || info.dli_fname == nullptr)
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
    return found;
}
