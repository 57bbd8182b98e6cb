#ifndef HOSTINTERFACE_EXPORT_H
#define HOSTINTERFACE_EXPORT_H

// The interface classes keep default visibility in every module, so that a
// host linked with exported symbols and the plugin it loads share one
// staticMetaObject per class: meta-object comparisons across the boundary
// then hold even for a host without the interface declaration (see
// CollectThread.h).
#define HOSTINTERFACE_EXPORT __attribute__((visibility("default")))

#endif // HOSTINTERFACE_EXPORT_H
