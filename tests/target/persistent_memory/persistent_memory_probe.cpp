// A model run as a program of its own. With an argument, it has that many mappings of 1 MiB first.
// Keeps a chain of pointers to blocks of several objects; prints how many there are.

#include <qm.h>

#include <sys/mman.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::size_t kMiB = 1 << 20;
constexpr int kNewBlocks = 200;

struct Block
{
    Block* next;
    std::array<char, 3000> rest;
};

Block* newBlock(Block* next, int number)
{
    std::array<char, 8> name{};
    (void)std::snprintf(name.data(), name.size(), "object%d", number % 10);
    auto* const block = static_cast<Block*>(qm_allocPersistentMemory(name.data(), sizeof(Block)));
    if (block == nullptr) std::exit(1);
    block->next = next;
    return block;
}

}  // namespace

int main(int argc, char** argv)
{
    for (int i = argc > 1 ? std::atoi(argv[1]) : 0; i > 0; --i)
        (void)mmap(nullptr, kMiB, i % 2 == 0 ? PROT_READ : PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    auto* head = static_cast<Block**>(qm_getPersistentMemory("head"));
    if (head == nullptr) {
        head = static_cast<Block**>(qm_allocPersistentMemory("head", sizeof(Block*)));
        if (head == nullptr) return 1;
        *head = nullptr;
    }
    for (int i = 0; i < kNewBlocks; ++i)
        *head = newBlock(*head, i);
    int count = 0;
    for (const Block* block = *head; block != nullptr; block = block->next)
        ++count;
    (void)std::printf("%d\n", count);
    return 0;
}
