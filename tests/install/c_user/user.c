#include <qm.h>

#include <stdio.h>
#include <string.h>

/* A driver block in C, built outside this project: prints what it got. */
int main(void)
{
    qm_mod_info* module = qm_module_register(230, 1);
    qm_block_info* block = qm_block_register(module, 3, 7);
    QmError* error = qmError_new();
    if (block == NULL || error == NULL) return 1;
    qmError_setMsg(error, "block %u of module %u", block->id, module->id);
    const int right = strcmp("block 7 of module 1", error->errorMsg) == 0;
    puts(error->errorMsg);
    qmError_delete(error);
    qm_module_unregister(230, 1);
    return right ? 0 : 1;
}
