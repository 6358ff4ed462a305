/**
 * @file
 * Which model of target computer this is.
 */
#ifndef QM_TARGET_H
#define QM_TARGET_H

#include <qm/api.h>

#ifdef __cplusplus
#include <string>
#endif

QM_BEGIN_C

/** Target models. The values are stored and compared elsewhere and never change. */
typedef enum qm_TargetType QM_ENUM_INT32
{
    KR410 = 0,
    KR411 = 1,
    Ridge = 2,
    Lowland = 3,
    Lowland_TopLayer = 4,
    RoverV2 = 5,
    Slate = 6,
    Cube = 7,
    Harbor = 8,
    RoverAEG = 9,
    Campus2 = 10,
    KT411 = 11,
    RoverV3 = 12,
    Zenith = 13,
    Brisa = 14,
    Otter = 15,
    Talus = 16,
    NonQuillmark = 17
} qm_TargetType;

/**
 * Detects the target model from the PCI topology. The topology is kept for the life of the process once bus 0
 * has shown a device.
 *
 * @return The model; NonQuillmark for any other computer. Talus is never detected.
 *
 * Errors: libpci ends the process when it finds no way to the PCI buses; any other topology failure gives
 * NonQuillmark, with "PCI topology detection failure!" on standard output for each known model.
 * Real-time safe: no (scans the PCI buses). Thread-safe: no until bus 0 has shown a device, then yes.
 */
QM_API qm_TargetType qm_getTargetType(void);

/**
 * Gives the target model's marketing name.
 *
 * @return A constant text, "NonQuillmark" for any other computer; never freed.
 *
 * Errors, real-time safety, thread-safety: as qm_getTargetType().
 */
QM_API const char* qm_getTargetMarketingName(void);

#ifdef __cplusplus

#ifdef __clang__
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wreturn-type-c-linkage"
#endif

/**
 * Gives line 1 of the target's console screen: the maker's and the target's name between "<white>" tags. The
 * name is the first line of "/usr/quillmark/sysinfo/quillmark_marketingName.txt", or "MarketingName" without
 * that file.
 *
 * @return The line.
 *
 * Errors: none but std::bad_alloc. Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API std::string qm_getTargetScreenLine1();

/**
 * Gives line 2 of the target's console screen: the first line of
 * "/usr/quillmark/sysinfo/quillmark_version.txt" between "<white>" tags, nothing between them without that
 * file.
 *
 * @return The line.
 *
 * Errors: none but std::bad_alloc. Real-time safe: no (file system). Thread-safe: yes.
 */
QM_API std::string qm_getTargetScreenLine2();

#ifdef __clang__
#pragma clang diagnostic pop
#endif

#endif

QM_END_C

#endif
