/* A plugin for qemu's user emulation. It counts the instructions that a program
 * executes, in all and within the module, in two 64-bit numbers in a file:
 * qemu-arm -plugin libcount_instructions.so,counters=FILE PROGRAM
 *
 * Debian has no package with the header of this interface: what is used of it
 * is declared here. */
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

struct qemu_plugin_tb;
struct qemu_plugin_insn;
typedef void translated(uint64_t id, struct qemu_plugin_tb *tb);
typedef void executed(unsigned vcpu, void *data);
enum { NO_REGISTERS };

void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t id, translated *callback);
void qemu_plugin_register_vcpu_tb_exec_cb(struct qemu_plugin_tb *tb, executed *callback, int flags,
                                          void *data);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb *tb);
struct qemu_plugin_insn *qemu_plugin_tb_get_insn(const struct qemu_plugin_tb *tb, size_t index);
void *qemu_plugin_insn_haddr(const struct qemu_plugin_insn *insn);

int qemu_plugin_version = 1;
int qemu_plugin_install(uint64_t id, const void *info, int argc, char **argv);

static uint64_t *counters; /* in all, in the module */

/* Whether the module is mapped there. */
static int is_in_module(const void *address)
{
    FILE *maps = fopen("/proc/self/maps", "r");
    char line[512];
    int found = 0;
    while (maps && !found && fgets(line, sizeof(line), maps)) {
        unsigned long from, to;
        found = sscanf(line, "%lx-%lx", &from, &to) == 2 && (unsigned long)address >= from &&
                (unsigned long)address < to;
    }
    if (maps) fclose(maps);
    return found && strstr(line, "mod_kelto_sysmgmt.so") != NULL;
}

static void count(unsigned vcpu, void *data)
{
    (void)vcpu;
    counters[0] += (uintptr_t)data >> 1;
    if ((uintptr_t)data & 1) counters[1] += (uintptr_t)data >> 1;
}

static void translate(uint64_t id, struct qemu_plugin_tb *tb)
{
    (void)id;
    const size_t instructions = qemu_plugin_tb_n_insns(tb);
    const int in_module = is_in_module(qemu_plugin_insn_haddr(qemu_plugin_tb_get_insn(tb, 0)));
    qemu_plugin_register_vcpu_tb_exec_cb(tb, count, NO_REGISTERS,
                                         (void *)(instructions << 1 | (unsigned)in_module));
}

int qemu_plugin_install(uint64_t id, const void *info, int argc, char **argv)
{
    (void)info;
    const char option[] = "counters=";
    if (argc != 1 || strncmp(argv[0], option, strlen(option)) != 0) return -1;
    const int fd = open(argv[0] + strlen(option), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd == -1 || ftruncate(fd, 2 * sizeof(*counters)) != 0) return -1;
    counters = mmap(NULL, 2 * sizeof(*counters), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (counters == MAP_FAILED) return -1;
    qemu_plugin_register_vcpu_tb_trans_cb(id, translate);
    return 0;
}
