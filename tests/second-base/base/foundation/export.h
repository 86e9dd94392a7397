#ifndef QUENDRIL_SECOND_BASE_EXPORT_H
#define QUENDRIL_SECOND_BASE_EXPORT_H

#define QUENDRIL_EXPORT __attribute__((visibility("default")))

#endif
