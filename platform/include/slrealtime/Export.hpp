/**
 * @file
 * How the stand-alone platform's interface is declared. Valid C and C++.
 */
#ifndef SLREALTIME_EXPORT_HPP
#define SLREALTIME_EXPORT_HPP

/** Marks what the platform exports. */
#define SLREALTIME_API __attribute__((visibility("default")))

#endif
