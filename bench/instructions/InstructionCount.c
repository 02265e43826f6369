/* A plugin of the emulator that counts the instructions of the emulated program, of all its threads together, and
 * writes the number to the file that the argument "to" names. One block of code counts at a time, so programs have one
 * thread.
 *
 * The declarations are those of the first version of the emulator's interface, of which Debian ships no header. */
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

struct qemu_plugin_tb;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
typedef uint64_t qemu_plugin_id_t;

extern void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                                  void (*callback)(qemu_plugin_id_t, struct qemu_plugin_tb*));
extern size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
extern void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, enum qemu_plugin_op op,
                                                     void* counter, uint64_t increment);
extern void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*callback)(qemu_plugin_id_t, void*), void* data);

#define EXPORTED __attribute__((visibility("default")))

EXPORTED int qemu_plugin_version = 1;

static uint64_t s_count;
static char s_file[4096];

static void countBlock(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
    (void)id;
    qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &s_count,
                                             qemu_plugin_tb_n_insns(block));
}

static void writeCount(qemu_plugin_id_t id, void* data) {
    FILE* file = fopen(s_file, "w");
    (void)id;
    (void)data;
    if (file == NULL)
        return;
    fprintf(file, "%" PRIu64 "\n", s_count);
    fclose(file);
}

EXPORTED int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int argc, char** argv) {
    (void)info;
    if (argc != 1 || strncmp(argv[0], "to=", 3) != 0 || strlen(argv[0]) > sizeof s_file)
        return 1;
    strcpy(s_file, argv[0] + 3);
    qemu_plugin_register_vcpu_tb_trans_cb(id, countBlock);
    qemu_plugin_register_atexit_cb(id, writeCount, NULL);
    return 0;
}
