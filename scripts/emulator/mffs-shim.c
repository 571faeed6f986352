/*
 * Preloaded into every program run under qemu-ppc. The target's C library
 * reads the floating-point status with the newer mffscrn/mffscrni/mffsl forms
 * (inside sin, cos, tan, atan2 and others). Earlier PowerPC processors, such
 * as the device's, execute those encodings as a plain mffs, which is what the
 * C library relies on; the emulator instead raises SIGILL. This handler does
 * what the device's processor does: copy the status register into the target
 * register and continue with the next instruction.
 */
#include <signal.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <ucontext.h>

enum { kNipIndex = 32, kPrimaryOpcode = 63, kMffsExtendedOpcode = 583 };

static void ExecuteAsMffs(int signal, siginfo_t* info, void* context)
{
    (void)info;
    mcontext_t* registers = ((ucontext_t*)context)->uc_mcontext.uc_regs;
    const uint32_t instruction = *(const uint32_t*)registers->gregs[kNipIndex];
    if ((instruction >> 26) == kPrimaryOpcode && ((instruction >> 1) & 0x3FF) == kMffsExtendedOpcode)
    {
        const unsigned target = (instruction >> 21) & 31;
        memcpy(&registers->fpregs.fpregs[target], &registers->fpregs.fpscr, sizeof(double));
        registers->gregs[kNipIndex] += 4;
        return;
    }
    /* A genuine illegal instruction: let it take its ordinary course. */
    struct sigaction fallback;
    memset(&fallback, 0, sizeof fallback);
    fallback.sa_handler = SIG_DFL;
    sigaction(signal, &fallback, NULL);
}

__attribute__((constructor)) static void InstallShim(void)
{
    struct sigaction action;
    memset(&action, 0, sizeof action);
    action.sa_sigaction = ExecuteAsMffs;
    action.sa_flags = SA_SIGINFO;
    sigemptyset(&action.sa_mask);
    sigaction(SIGILL, &action, NULL);
    /* Host programs started by the test (a shell, xmllint) must not inherit it. */
    unsetenv("LD_PRELOAD");
}
