/** Marks what the stand-alone platform exports. Valid C and C++. */
#ifndef SLREALTIME_EXPORT_HPP
#define SLREALTIME_EXPORT_HPP

#define SLREALTIME_API __attribute__((visibility("default")))

#endif
