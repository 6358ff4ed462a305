#pragma once

#include <fnmatch.h>
#include <string>

// What the library is meant to do otherwise than report a failure with its reason, and to leave open.

namespace qm::test {

enum Outcome
{
    kReports,   // the step fails and tells the reason
    kFails,     // without the reason
    kSucceeds,  // it is harmless
    kEither,    // the step succeeds, or tells the reason
    kAny,       // the step succeeds, or does not tell the reason
    kEnds,      // the process may end
};

struct Exception
{
    const char* step;  // patterns: "scenario/step"
    const char* call;  // "module:function"
    Outcome outcome;
    const char* why;
};

struct Leftover
{
    const char* scenario;
    const char* call;
    const char* file;
    const char* why;
};

// clang-format off
/** The first row that fits decides. */
inline const Exception kExceptions[] = {
    {"*", "@(libasan|libtsan|libubsan)*", kEnds, "a sanitizer's own call"},
    {"@(Board/* properties|Axi/place)", "libqm.so:close", kEither, "closing ends a write to the kernel"},
    {"*", "*:@(close|closedir)", kSucceeds, "all is read or written by then"},
    {"@(Tagging|ModelInit|Identity)/*", "libqm.so:fclose", kSucceeds, "all is flushed by then"},
    {"*", "libpci.so*", kEnds, "libpci ends the process on what it takes for an error"},
    {"@(Board/find*|Board/backup|Board/restore|Services/initialize|Identity/t*|Serial/open|Ether*/*)",
     "libc.so.6:malloc", kEnds, "for libpci, which ends the process"},

    {"Board/attach", "libqm.so:access", kSucceeds, "the board is bound once more"},
    {"Board/detach", "*", kSucceeds, "gives no result"},
    {"Board/restore", "*", kSucceeds, "gives no result"},
    {"Board/map", "libqm.so:@(open|read|write)", kEither, "a board that cannot be enabled is mapped all the same"},
    {"Board/@(rebind|probe)", "libqm.so:write", kSucceeds, "what the kernel makes of it is not looked at"},
    {"Board/rebind", "libqm.so:open", kEither, "binding goes on without unbinding"},
    {"Board/* properties", "libqm.so:readdir", kEither, "a list that ends early"},
    {"Board/* properties", "libqm.so:@(sched_getparam|sched_getscheduler)", kSucceeds, "unknown is low"},
    {"Board/set properties", "libqm.so:sysconf", kSucceeds, "there is no CPU to place it on"},

    {"Dma/*", "libqm.so:access", kSucceeds, "the first number is taken for free, and is"},
    {"Dma/allocate*", "libqm.so:chmod", kSucceeds, "only logged"},
    {"Dma/allocate*", "libqm.so:mmap", kSucceeds, "MAP_FAILED goes to the caller"},
    {"Dma/allocate*", "libqm.so:read", kEither, "an address that cannot be parsed is 0"},
    {"Dma/*", "libqm.so:write", kEither, "a command's refusal shows in the files that follow"},
    {"Dma/@(allocate|delete all)", "@(libqm.so:glob|libc.so.6:*)", kSucceeds, "no leftovers are found"},

    {"ModelInit/check", "libc.so.6:@(malloc|calloc)", kEither, "a stream does without its buffer, the end without a tag"},
    {"@(ModelInit|Tagging)/tag", "libc.so.6:malloc", kEither, "a stream does without its buffer"},
    {"@(ModelInit|Tagging)/tag", "libqm.so:fgets", kSucceeds, "no line is no tag"},
    {"@(ModelInit|Tagging)/tag", "libqm.so:ftrylockfile", kSucceeds, "another thread tags"},
    {"@(ModelInit|Tagging)/tag", "libqm.so:open", kSucceeds, "the folder is there"},

    {"Identity/topology", "libqm.so:@(malloc|calloc|realloc)", kSucceeds, "what is not known is not printed"},
    {"@(Services/initialize|Identity/type|Serial/open|Ether*/*)", "libqm.so:@(malloc|calloc|realloc)", kEither,
     "a topology without some of its parts"},
    {"Services/initialize", "libqm.so:access", kSucceeds, "no mark of polling mode"},
    {"Services/initialize", "libqm.so:readlink", kSucceeds, "no mark of polling mode"},
    {"Services/initialize", "libqm.so:read", kEither, "a short read at the end of the file is its end"},
    {"Services/@(start|stop)", "libqm.so:@(open|write)", kEither, "the LED fails silently"},

    {"Ethernet/translate", "libqm.so:open", kEither, "a folder that cannot be looked at is made"},
    {"Ethernet/translate", "libsystemd.so*", kSucceeds, "an interface that cannot be found has no name"},
    {"Ethercat/*", "libqm.so:write", kSucceeds, "what the kernel makes of it is not looked at"},
    {"Ethercat/hand over", "libqm.so:open", kEither, "binding goes on without unbinding"},

    {"@(PersistentMemory|LoadedMemory)/*", "libqm.so:getrlimit", kSucceeds, "no descriptor is kept"},
    {"PersistentMemory/allocate*", "libqm.so:shm_unlink", kSucceeds, "there is no stale object"},
    {"*/grow", "libqm.so:@(fallocate|ftruncate|mmap)", kSucceeds, "not null, although it is not the caller's"},
    {"LoadedMemory/load", "libqm.so:@(mmap|shm_open)", kEither, "whether the last entry is unfinished is looked at first"},
    {"LoadedMemory/load", "libqm.so:munmap", kSucceeds, "nothing is lost but the room"},
    {"LoadedMemory/load", "libqm.so:fstat", kAny, "a file of unknown size counts as empty"},

    {"Threads/create thread", "ld-linux*:calloc", kAny, "the thread's own data may find room elsewhere"},
    {"Threads/destroy thread", "ld-linux*:malloc", kEnds, "libc ends the process when it cannot cancel"},
    {"Threads/pin alone", "libqm.so:pthread_*", kSucceeds, "0 whatever comes of the last step"},
    {"Threads/pin alone", "libqm.so:sched_getaffinity", kEither, "a thread that has ended is none"},

    {"Threads/exit handler", "libqm.so:malloc", kEnds, "there is no result to tell it by"},
    {"Threads/sleep", "libqm.so:clock_nanosleep", kSucceeds, "an interrupted sleep goes on"},

    {"Identity/@(first line|second line|host link)", "libqm.so:read", kEither, "as for Services"},
    {"Identity/new folder", "libqm.so:open", kSucceeds, "it is made"},
    {"Identity/log", "libqm.so:fopen", kSucceeds, "opened once more"},
    {"Identity/@(version|log)", "libc.so.6:malloc", kEither, "a stream does without its buffer"},
    {"Serial/configure", "libqm.so:tcsetattr", kFails, "only errno tells"},
    {"Serial/*", "libqm.so:fcntl", kSucceeds, "the port stays without waiting"},
    {"Axi/find", "libqm.so:read", kEither, "another device without a name"},
    {"Axi/place", "libqm.so:@(readdir|stat)", kFails, "an interrupt that cannot be looked at is not its own"},
};

inline const Leftover kLeftovers[] = {
    {"*", "*", "*/sys/bus/pci/devices/*/config", "libpci keeps the file that it read last"},
    {"Dma", "libqm.so:munmap", "mapped /dev/qm-udma-buf*", "a buffer that cannot be freed is given up"},
    {"@(PersistentMemory|ModelInit)", "*", "mapped /dev/shm/*", "mappings outlive freeing"},
    {"LoadedMemory", "*", "*/dev/shm/*", "loaded memory stays open and mapped"},
    {"ModelInit", "libqm.so:readlink", "*/tmp/quillmark/model_uuid", "without a path the tag stays open"},
    {"Tagging", "libqm.so:@(readlink|fgets|fflush|fwrite)", "*/tmp/quillmark/model_uuid", "tagging ended early"},
    {"Tagging", "libqm.so:@(freopen|fgets|fflush|fwrite)", "*/misc/UUID", "tagging ended early"},
    {"Identity", "libqm.so:fgets", "*/quillmark_version.txt", "an empty version file stays open"},
    {"Axi", "libqm.so:mmap", "*/dev/uio1", "a node that cannot be mapped stays open"},
};

// clang-format on

inline bool matches(const char* pattern, const std::string& text)
{
    return fnmatch(pattern, text.c_str(), FNM_EXTMATCH) == 0;
}

inline Outcome expectedOutcome(const std::string& step, const std::string& call)
{
    for (const Exception& row : kExceptions)
        if (matches(row.step, step) && matches(row.call, call)) return row.outcome;
    return kReports;
}

inline bool mayStayOpen(const std::string& scenario, const std::string& call, const std::string& file)
{
    for (const Leftover& row : kLeftovers)
        if (matches(row.scenario, scenario) && matches(row.call, call) && matches(row.file, file))
            return true;
    return false;
}

}  // namespace qm::test
