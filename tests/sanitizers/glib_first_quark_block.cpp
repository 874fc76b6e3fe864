// GLib's first block of quarks, kept reachable so that leak checkers do not count it.
//
// GLib keeps the strings of its quarks in a table of 2048 pointers that its library constructor
// allocates. When the table grows, GLib copies it into a larger block and drops the old one
// without freeing it, on purpose: lookups take no lock, so a reader may still be in the old
// block. A test process makes far more than 2048 quarks (every type name, caps field and
// registry feature is one), so the constructor's block is always lost. Its stack names no
// function of GLib (its constructor and quark set-up are not exported); the one name in it is
// the dynamic linker's _dl_init, which every library constructor shares, the plug-in's included,
// so no suppression can name it without hiding our own.
//
// Instead, this runs before main, while the constructor's block is still the table: among the
// words of GLib's writable data it finds the one that points at the table (entry 0 empty,
// entry 1 the string of quark 1) and keeps a pointer to it for the life of the process, as
// GLib's lock-free readers would. LeakSanitizer and memcheck then see the block as reachable.
// Every other allocation of GLib's constructor is still checked. Linked into the test
// executables (and, under AddressSanitizer, into every executable).

#include <glib.h>
#include <link.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>

namespace {

constexpr const char kGLibLibrary[] = "libglib-2.0.so";

// The block, once found. Read by nothing; it is what makes the block reachable.
__attribute__((used)) const void* volatile g_first_quark_block = nullptr;

// Reads `count` pointers at `address` without faulting: false when they are not all mapped.
bool readPointers(std::uintptr_t address, const char** out, std::size_t count) {
    iovec local{out, count * sizeof(const char*)};
    iovec remote{reinterpret_cast<void*>(address), count * sizeof(const char*)};
    return process_vm_readv(getpid(), &local, 1, &remote, 1, 0) ==
           static_cast<ssize_t>(count * sizeof(const char*));
}

int searchGLib(dl_phdr_info* info, std::size_t, void* data) {
    const char* quark_one = static_cast<const char*>(data);
    if (info->dlpi_name == nullptr || std::strstr(info->dlpi_name, kGLibLibrary) == nullptr)
        return 0;
    for (ElfW(Half) i = 0; i < info->dlpi_phnum; ++i) {
        const ElfW(Phdr)& segment = info->dlpi_phdr[i];
        if (segment.p_type != PT_LOAD || (segment.p_flags & PF_W) == 0) continue;
        const std::uintptr_t begin = info->dlpi_addr + segment.p_vaddr;
        const std::uintptr_t end = begin + segment.p_memsz;
        constexpr std::uintptr_t kWord = sizeof(std::uintptr_t);
        for (std::uintptr_t at = (begin + kWord - 1) & ~(kWord - 1); at + kWord <= end;
             at += kWord) {
            const std::uintptr_t word = *reinterpret_cast<const std::uintptr_t*>(at);
            if (word == 0 || word % alignof(const char*) != 0) continue;
            const char* entries[2] = {};
            if (readPointers(word, entries, 2) && entries[0] == nullptr &&
                entries[1] == quark_one) {
                g_first_quark_block = reinterpret_cast<const void*>(word);
                return 1;
            }
        }
    }
    return 1;  // GLib was searched: stop
}

__attribute__((constructor)) void keepGLibFirstQuarkBlock() {
    const char* quark_one = g_quark_to_string(1);
    if (quark_one == nullptr) return;  // no quark yet: nothing to keep
    dl_iterate_phdr(&searchGLib, const_cast<char*>(quark_one));
}

}  // namespace
