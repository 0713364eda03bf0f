/* A plug-in of qemu's user mode: says on standard error how many instructions the program took.
 *
 * Debian ships the emulator with this interface but without its header; what is used of it stands
 * here (version 1). */
#include <inttypes.h>
#include <stddef.h>
#include <stdio.h>

#define EXPORT __attribute__((visibility("default")))

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb; /* a block of translated instructions */
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };

size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* block);
void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id,
                                           void (*translated)(qemu_plugin_id_t,
                                                              struct qemu_plugin_tb*));
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* block, enum qemu_plugin_op op,
                                              void* number, uint64_t operand);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, void (*ended)(qemu_plugin_id_t, void*),
                                    void* data);

EXPORT int qemu_plugin_version = 1;

static uint64_t instructions;

static void countBlock(qemu_plugin_id_t id, struct qemu_plugin_tb* block) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(block, QEMU_PLUGIN_INLINE_ADD_U64, &instructions,
                                           qemu_plugin_tb_n_insns(block));
}

static void tell(qemu_plugin_id_t id, void* data) {
  (void)id;
  (void)data;
  fprintf(stderr, "instructions %" PRIu64 "\n", instructions);
}

EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int count, char** arguments);

int qemu_plugin_install(qemu_plugin_id_t id, const void* info, int count, char** arguments) {
  (void)info;
  (void)count;
  (void)arguments;
  qemu_plugin_register_vcpu_tb_trans_cb(id, countBlock);
  qemu_plugin_register_atexit_cb(id, tell, NULL);
  return 0;
}
