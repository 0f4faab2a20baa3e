/* A plugin of the QEMU user-mode emulator that prints how many instructions of the emulated processor
 * a program executed. The few declarations of QEMU's plugin interface (version 1) that it needs stand
 * here, as distributions do not package the header. */

#include <inttypes.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#define EXPORTED __attribute__((visibility("default")))

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb; /* a block of instructions without a jump */
struct qemu_info;

enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t,
                                                              struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, enum qemu_plugin_op op,
                                              void* counter, uint64_t amount);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*ends)(qemu_plugin_id_t, void*),
                                    void* data);
void qemu_plugin_outs(const char* text);

EXPORTED int qemu_plugin_version = 1;
EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info* info, int argc,
                                 char** argv);

static uint64_t executed;

static void countBlock(qemu_plugin_id_t id, struct qemu_plugin_tb* block)
{
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &executed,
                                             qemu_plugin_tb_n_insns(block));
}

static void printCount(qemu_plugin_id_t id, void* data)
{
    (void)id;
    (void)data;
    char line[40];
    snprintf(line, sizeof line, "instructions %" PRIu64 "\n", executed);
    qemu_plugin_outs(line);
}

int qemu_plugin_install(qemu_plugin_id_t id, const struct qemu_info* info, int argc, char** argv)
{
    (void)info;
    (void)argc;
    (void)argv;
    qemu_plugin_register_vcpu_tb_trans_cb(id, countBlock);
    qemu_plugin_register_atexit_cb(id, printCount, NULL);
    return 0;
}
