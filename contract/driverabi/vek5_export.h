#ifndef VEK5_EXPORT_H
#define VEK5_EXPORT_H

// Marks a function that the model driver library finds by its plain name.
#define VEK5_EXPORT __attribute__((visibility("default")))

#endif // VEK5_EXPORT_H
