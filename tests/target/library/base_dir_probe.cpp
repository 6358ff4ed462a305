// base_dir_probe SIZE [ROOT]: what qm_getModelBaseDir() makes of this program's place, seen from this root
// directory, as "result|text|error".

#include <qm.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

int main(int argc, char** argv)
{
    if (argc < 2 || (argc > 2 && chroot(argv[2]) != 0)) return 2;
    const auto size = static_cast<uint32_t>(std::strtoul(argv[1], nullptr, 10));
    std::vector<char> path(size + 1);
    path[size] = '#';  // behind the end
    const int32_t result = qm_getModelBaseDir(path.data(), size);
    (void)std::printf("%d|%s|%s", result, path[size] == '#' ? path.data() : "overrun", pQmErrorStr);
    (void)std::fflush(stdout);
    _exit(0);  // leak checks need /proc
}
