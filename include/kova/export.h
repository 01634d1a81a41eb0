/* Linkage of the exported interface. */
#ifndef KOVA_EXPORT_H
#define KOVA_EXPORT_H

#define KOVA_API __attribute__((visibility("default")))

#ifdef __cplusplus
#define KOVA_BEGIN_C extern "C" {
#define KOVA_END_C }
#else
#define KOVA_BEGIN_C
#define KOVA_END_C
#endif

#endif
