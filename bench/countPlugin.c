/* SPDX-License-Identifier: MIT */
// Counts the guest's instructions, in all and by function: a plug-in of qemu's user-mode
// emulation, for qemu-arm -plugin countPlugin.so.
//
// At exit it prints a line "count NAME" for each function and for "total" to the file
// that the environment's JPG_COUNTS names. A conditional instruction counts also when it
// isn't carried out, since it takes a cycle even so.
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

// The part of the plug-in interface, version 1, that is used here: no package has its header.
typedef uint64_t PluginId;
typedef struct qemu_plugin_tb Block;
typedef struct qemu_plugin_insn Instruction;
enum { kAddU64 = 0 };
extern void qemu_plugin_register_vcpu_tb_trans_cb(PluginId id, void (*made)(PluginId, Block *));
extern void qemu_plugin_register_atexit_cb(PluginId id, void (*end)(PluginId, void *), void *data);
extern void qemu_plugin_register_vcpu_insn_exec_inline(Instruction *i, int operation, void *counter,
                                                       uint64_t amount);
extern size_t qemu_plugin_tb_n_insns(const Block *block);
extern Instruction *qemu_plugin_tb_get_insn(const Block *block, size_t index);
extern const char *qemu_plugin_insn_symbol(const Instruction *i);

#define EXPORT __attribute__((visibility("default")))
EXPORT int qemu_plugin_version = 1;

// Functions by name, open addressing; the emulator has one thread when it runs one.
enum { kFunctions = 1 << 14 };
typedef struct {
  const char *name;  // null: free
  uint64_t count;
} Function;
static Function functions[kFunctions];

static Function *functionOf(const char *name) {
  uint32_t hash = 5381;
  for (const char *p = name; *p != 0; p++) hash = hash * 33 + (unsigned char)*p;
  for (uint32_t i = 0; i < kFunctions; i++) {
    Function *f = &functions[(hash + i) % kFunctions];
    if (f->name == NULL) f->name = strdup(name);
    if (strcmp(f->name, name) == 0) return f;
  }
  abort();
}

static void countBlock(PluginId id, Block *block) {
  (void)id;
  for (size_t i = 0; i < qemu_plugin_tb_n_insns(block); i++) {
    Instruction *instruction = qemu_plugin_tb_get_insn(block, i);
    const char *name = qemu_plugin_insn_symbol(instruction);
    Function *f = functionOf(name != NULL && *name != 0 ? name : "?");
    qemu_plugin_register_vcpu_insn_exec_inline(instruction, kAddU64, &f->count, 1);
  }
}

static void print(PluginId id, void *data) {
  (void)id;
  (void)data;
  const char *name = getenv("JPG_COUNTS");
  FILE *file = name != NULL ? fopen(name, "w") : NULL;
  if (file == NULL) return;
  uint64_t total = 0;
  for (uint32_t i = 0; i < kFunctions; i++) {
    if (functions[i].count == 0) continue;
    fprintf(file, "%llu %s\n", (unsigned long long)functions[i].count, functions[i].name);
    total += functions[i].count;
  }
  fprintf(file, "%llu total\n", (unsigned long long)total);
  fclose(file);
}

EXPORT int qemu_plugin_install(PluginId id, const void *info, int argc, char **argv) {
  (void)info;
  (void)argc;
  (void)argv;
  qemu_plugin_register_vcpu_tb_trans_cb(id, countBlock);
  qemu_plugin_register_atexit_cb(id, print, NULL);
  return 0;
}
