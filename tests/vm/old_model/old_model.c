#include <qm/frozen.h>

#include <sys/wait.h>

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

/* What the generated code of an earlier release's model did in a run, in plain C and through frozen entries
 * alone. */

#define ADC 230U

static void expect(int holds, const char* what)
{
    if (holds) return;
    printf("FAILED: %s (last error: %s)\n", what, pQmErrorStr);
    exit(1);
}
#define EXPECT(condition) expect((condition) ? 1 : 0, #condition)

static void started(void* argument)
{
    (void)argument;
}

static void startRun(void)
{
    char directory[256] = "";
    qm_hdlc_initModelRun_v21b();
    EXPECT(qm_hdlc_isModelInit_v19b());
    EXPECT(qm_hdlc_isFirstModelLoad_v26a());
    EXPECT(qm_hdlc_getModelBaseDir_v21a(directory, sizeof directory) == 0);
    EXPECT(directory[0] == '/' && strstr(directory, "/bin/") == NULL);
    qm_hdlc_add_start_callback_v26a(started, NULL, 1);
}

static void useBoard(void)
{
    qm_PCIDevice board = {0};
    uint32_t saved[8] = {0};
    EXPECT(qm_hdlc_findPciDevice_v19b(&board, "ADC", 0x1234, 0x1, 0xFFFF, 0xFFFF, 4, 0, -1) == 1);
    EXPECT(strcmp("ADC ID4: Module not found", pQmErrorStr) == 0);
    EXPECT(qm_hdlc_findPciDevice_v19b(&board, "ADC", 0x1234, 0x11E8, 0xFFFF, 0xFFFF, 1, 0, -1) == 0);
    qm_hdlc_showPciDevice_v19b(&board);

    volatile uint32_t* registers = qm_hdlc_mapMemory_v19b(&board, 0);
    EXPECT(registers != NULL && (uintptr_t)registers == board.VirtAddress[0]);
    registers[1] = 0x12345678;
    EXPECT(registers[1] == ~0x12345678U);

    qmPCI_backupPCIConfig_v22a(&board, saved);
    EXPECT((saved[0] & ~0xFU) == board.BaseAddress[0]);
    qmPCI_restorePCIConfig_v22a(&board, saved);
    qmPCI_printPCIConfig_v22a(&board);
    registers[1] = 1;
    EXPECT(registers[1] == ~1U);
    EXPECT(qm_pci_unbindDriver_v26a(&board) == 0);
    EXPECT(qm_pci_bindDriver_v26a(&board, "no_such_driver") == -1);
}

static void useRegistry(void)
{
    qm_mod_list modules = NULL;
    qm_mod_info* module = qm_hdlc_module_register_v19b(ADC, 2);
    EXPECT(module != NULL && module->type == ADC && module->id == 2);
    EXPECT(qm_hdlc_module_register_v19b(ADC, 5) != NULL);
    EXPECT(qm_hdlc_module_get_v19b(&modules, ADC, 0xFFFFFFFFU) == 2);
    EXPECT(modules[0] == module && modules[1]->id == 5);
    free(modules);
    EXPECT(qm_hdlc_module_get_single_v24a(ADC, 2) == module);

    qm_block_info* block = qm_hdlc_block_register_v24a(module, 1, 3);
    EXPECT(block != NULL && block->type == 1 && block->id == 3);
    EXPECT(qm_hdlc_block_get_v24a(module, 1, 3) == block);
    qm_hdlc_block_unregister_v24a(module, 1, 3);
    EXPECT(qm_hdlc_block_get_v24a(module, 1, 3) == NULL);
    qm_hdlc_module_unregister_v19b(ADC, 2);
    qm_hdlc_module_unregister_v19b(ADC, 5);
    EXPECT(qm_hdlc_module_get_single_v24a(ADC, 2) == NULL);
}

static void useMemoryAndPorts(void)
{
    uintptr_t physical = 0;
    char* buffer = qm_hdlc_allocPhysicalMemory_v2_v22b(12288, &physical);
    EXPECT(buffer != NULL && physical != 0);
    buffer[4097] = 1;
    EXPECT(qm_hdlc_getPhysicalBufferAddr_v25a(buffer + 4097) == physical + 4097);
    qm_hdlc_freePhysicalMemory_v19b(buffer);
    EXPECT(qm_hdlc_allocPhysicalMemory_v19b(4096) == NULL);

    EXPECT(qm_hdlc_setAbilities_v19b() == 0);
    qm_hdlc_outpDW_v19b(0xCF8, 0x80000000U);
    EXPECT((qm_hdlc_inpDW_v19b(0xCFC) & 0xFFFF) == 0x8086); /* the host bridge */
}

static void useTheRest(void)
{
    qm_hdlc_AxiDevice_v25a fabric = {0, "/dev/none"};
    EXPECT(qm_hdlc_findAxiDevice_v25a(&fabric, "fabric") == -1);
    EXPECT(strcmp("Could not find fabric", pQmErrorStr) == 0);
    EXPECT(qm_hdlc_mapAxiBar_v25a(&fabric, 9) == NULL);
    EXPECT(qm_hdlc_loadOnChipBitstream_v25a("none.bit") == -1);

    const double before = qm_hdlc_getElapsedTime_v19b();
    qm_hdlc_wait_s_v19b(0.002);
    EXPECT(qm_hdlc_getElapsedTime_v19b() > before);

    int status = -1;
    const int32_t child = qm_hdlc_spawnExecutable_v21b("/usr/bin", "test", "1 -gt 2");
    EXPECT(waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 1);
}

static void endRun(void)
{
    char tag[32] = "";
    qm_hdlc_terminateModelRun_v22a();
    FILE* const file = fopen("/tmp/quillmark/model_uuid", "r");
    EXPECT(file != NULL && fgets(tag, sizeof tag, file) != NULL);
    fclose(file);
    EXPECT(strcmp("old model\n", tag) == 0);
}

int main(void)
{
    startRun();
    useBoard();
    useRegistry();
    useMemoryAndPorts();
    useTheRest();
    endRun();
    puts("the old model has run");
    return 0;
}
