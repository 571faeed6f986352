#include "Utilities/CrashHandler.h"

#include "Utilities/FileLayer.h"
#include "Utilities/FileUtilities.h"
#include "Utilities/Version.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cxxabi.h>
#include <dlfcn.h>
#include <execinfo.h>
#include <memory>
#include <ucontext.h>

namespace Core
{

template class Patterns::StaticSingleton<Utilities::CrashHandler>;

namespace Utilities
{

namespace
{
constexpr int kMaxFrames = 64;

constexpr int kHandledSignals[] = {SIGSEGV, SIGILL,  SIGPIPE, SIGSYS,  SIGFPE,  SIGBUS, SIGQUIT,
                                   SIGABRT, SIGSTKFLT, SIGSTOP, SIGXCPU, SIGXFSZ, SIGINT, SIGTERM};

// The line describing a crash signal, and whether the fault address follows it.
struct SignalDescription
{
    int signal;
    const char* text;
    bool withAddress;
};

constexpr SignalDescription kDescriptions[] = {
    {SIGQUIT, "Quit triggered (SIGQUIT) has occurred\n", false},
    {SIGILL, "An illegal instruction (SIGILL) has occurred\n", true},
    {SIGABRT, "Abort triggered (SIGABRT) has occurred\n", false},
    {SIGBUS, "An access to a bad memory section (SIGBUS) has occurred\n", true},
    {SIGFPE, "A bad arithmetic operation (SIGFPE) has occurred\n", true},
    {SIGSEGV, "A segmentation fault (SIGSEGV) has occurred\n", true},
    {SIGPIPE, "A write to a bad pipe (SIGPIPE) has occurred\n", false},
    {SIGSTKFLT, "Stack fault (SIGSTKFLT) has occurred\n", false},
    {SIGSTOP, "Stop triggered (SIGSTOP) has occurred\n", false},
    {SIGXCPU, "CPU limit exceeded (SIGXCPU) has occurred\n", false},
    {SIGXFSZ, "File size exceeded (SIGXFSZ) has occurred\n", false},
    {SIGSYS, "A bad system call (SIGSYS) has occurred\n", false},
};

// Each log is written under a working name and renamed when complete; errors
// while writing are not checked. The stick's copy is synced too, since the
// stick may be pulled as soon as the device has stopped.
const ReplacementOptions kLocalLog = {".partial", false, false, false, true};
const ReplacementOptions kStickLog = {".partial", true, true, false, true};

// Formatted text lines longer than this are formatted a second time into memory.
constexpr int kLineBufferSize = 1024;

// One formatted write to each log that is open; either may be null. Each line
// goes straight to the file, so a crash while writing leaves what came before.
__attribute__((format(printf, 3, 4))) void LogPrintf(FileReplacement* first, FileReplacement* second,
                                                     const char* format, ...)
{
    char line[kLineBufferSize];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (length < 0)
        return;
    std::string longLine;
    const char* text = line;
    if (length >= kLineBufferSize)
    {
        longLine.resize(static_cast<std::size_t>(length) + 1);
        va_start(args, format);
        std::vsnprintf(&longLine[0], longLine.size(), format, args);
        va_end(args);
        text = longLine.c_str();
    }
    for (FileReplacement* log : {first, second})
    {
        if (log)
            log->Write(text, static_cast<std::size_t>(length));
    }
}

// The address of the interrupted instruction, saved in the signal context.
unsigned long InstructionPointer(const void* context)
{
    const ucontext_t* uc = static_cast<const ucontext_t*>(context);
#if defined(__powerpc__) && !defined(__powerpc64__)
    // The saved registers sit where uc_regs points; index 32 is the next
    // instruction pointer (PT_NIP).
    return uc->uc_mcontext.uc_regs->gregs[32];
#elif defined(__powerpc64__)
    return uc->uc_mcontext.gp_regs[32];
#elif defined(__x86_64__)
    return static_cast<unsigned long>(uc->uc_mcontext.gregs[REG_RIP]);
#elif defined(__i386__)
    return static_cast<unsigned long>(uc->uc_mcontext.gregs[REG_EIP]);
#elif defined(__aarch64__)
    return static_cast<unsigned long>(uc->uc_mcontext.pc);
#elif defined(__arm__)
    return static_cast<unsigned long>(uc->uc_mcontext.arm_pc);
#else
    (void)uc;
    return 0;
#endif
}

// The first lines of the local log only: the module, the crash summary and the raw trace.
void WriteLocalHeader(FileReplacement* local, const std::string& name, int signal, int code, const char* when,
                      void* const* frames, int count)
{
    LogPrintf(local, nullptr, "%s\n", name.c_str());
    LogPrintf(local, nullptr, "Crash occurred (SWVer: %s, SWRev: %s). Received signal %d (%d) at %s",
              GetSoftwareVersion().c_str(), GetSVNRevision().c_str(), signal, code, when);
    LogPrintf(local, nullptr, "Trace: ");
    for (int i = 1; i < count; ++i)
        LogPrintf(local, nullptr, "%p ", frames[i]);
    LogPrintf(local, nullptr, "\n");
}

// A frame as "object:function+offset", demangled where possible, or
// "object:+0xoffset" from the object's base when the address has no symbol.
void WriteResolvedFrame(FileReplacement* local, FileReplacement* stick, void* address)
{
    Dl_info info;
    if (!dladdr(address, &info))
        return;
    if (info.dli_sname)
    {
        int status = 0;
        char* demangled = abi::__cxa_demangle(info.dli_sname, nullptr, nullptr, &status);
        LogPrintf(local, stick, "%s:%s+%X\n", info.dli_fname, demangled ? demangled : info.dli_sname,
                  static_cast<unsigned int>(static_cast<char*>(address) - static_cast<char*>(info.dli_saddr)));
        std::free(demangled);
    }
    else
    {
        LogPrintf(local, stick, "%s:+0x%X\n", info.dli_fname,
                  static_cast<unsigned int>(static_cast<char*>(address) - static_cast<char*>(info.dli_fbase)));
    }
}

// Everything both logs hold: header, signal description, registers, the
// back-trace symbols, an addr2line command line and the resolved frames.
// Frame 0 is the signal handler itself.
void WriteCommonBlock(FileReplacement* local, FileReplacement* stick, const std::string& name, const char* when,
                      const siginfo_t& info, unsigned long nip, void* const* frames, int count)
{
    LogPrintf(local, stick, "Crash log from %s at %s\n", name.c_str(), when);
    LogPrintf(local, stick, "Software Version: %s    Software Revision: %s\n", GetSoftwareVersion().c_str(),
              GetSVNRevision().c_str());
    for (const SignalDescription& description : kDescriptions)
    {
        if (description.signal != info.si_signo)
            continue;
        LogPrintf(local, stick, "%s", description.text);
        if (description.withAddress)
            LogPrintf(local, stick, "Signal Address: %p\n", info.si_addr);
    }
    LogPrintf(local, stick, "Signal Id: %d    Signal Code: %d    errno: %d\n", info.si_signo, info.si_code,
              info.si_errno);
    LogPrintf(local, stick, "Registers\n");
    LogPrintf(local, stick, "NIP: %lX\n", nip);

    char** symbols = backtrace_symbols(frames, count);
    for (int i = 1; i < count; ++i)
        LogPrintf(local, stick, "[%d] %s\n", i, symbols ? symbols[i] : "");
    // Freed although the process is ending, so leak checkers stay quiet.
    std::free(symbols);
    LogPrintf(local, stick, "\nTo translate the addresses execute the line below: \n");
    LogPrintf(local, stick, "addr2line --exe=[executable] -f -C");
    for (int i = 1; i < count; ++i)
        LogPrintf(local, stick, " %p", frames[i]);
    LogPrintf(local, stick, "\n");
    for (int i = 0; i < count; ++i)
        WriteResolvedFrame(local, stick, frames[i]);
}
} // namespace

CrashHandler::CrashHandler() : m_autoExit(true) {}

int CrashHandler::Enable(const std::string& name)
{
    m_name = name;
    struct sigaction action = {};
    action.sa_sigaction = &CrashHandler::CrashHandlerFn;
    sigemptyset(&action.sa_mask);
    // No SA_RESETHAND: the handler stays installed after it has run.
    action.sa_flags = SA_SIGINFO | SA_RESTART;
    int result = 0;
    for (int signal : kHandledSignals)
        result = sigaction(signal, &action, nullptr);
    return result;
}

void CrashHandler::SetHandler(int signal, void (*handler)(int))
{
    m_handlers.push_back({handler, signal});
}

void CrashHandler::SetAutoExit(bool autoExit)
{
    m_autoExit = autoExit;
}

void CrashHandler::RunHandlers(int signal) const
{
    for (const SignalHandler& entry : m_handlers)
    {
        if (entry.m_signal == signal)
            entry.m_handler(signal);
    }
}

void CrashHandler::CrashHandlerFn(int signal, siginfo_t* info, void* context)
{
    CrashHandler& self = Patterns::StaticSingleton<CrashHandler>::ref();
    if (signal == SIGINT || signal == SIGTERM)
    {
        std::fputs("Ctrl-C Detected. Terminating\n", stderr);
        self.RunHandlers(signal);
        if (self.m_autoExit)
            std::exit(0);
        return;
    }

    const bool present = USBPresent();
    // Captured here, so frame 0 is this handler.
    void* frames[kMaxFrames];
    const int count = backtrace(frames, kMaxFrames);
    const std::time_t t = std::time(nullptr);
    const std::string when = std::ctime(&t);

    std::unique_ptr<FileReplacement> stick;
    if (present)
    {
        const std::string fileName = "module_" + self.m_name + "_" + std::to_string(static_cast<long>(std::time(nullptr))) + ".txt";
        stick.reset(new FileReplacement("/mnt/usb/" + fileName, kStickLog));
        if (!stick->Begin())
            stick.reset();
    }
    // Written under a working name and renamed when complete, so a crash
    // while writing leaves a ".partial" file, never a truncated ".crash".
    const std::string finalPath = "/tmp/" + self.m_name + "_" + std::to_string(static_cast<long>(std::time(nullptr))) + ".crash";
    std::unique_ptr<FileReplacement> local(new FileReplacement(finalPath, kLocalLog));
    if (!local->Begin())
        local.reset();

    siginfo_t none = {};
    const siginfo_t& details = info ? *info : none;
    if (local)
        WriteLocalHeader(local.get(), self.m_name, signal, details.si_code, when.c_str(), frames, count);
    if (local || stick)
        WriteCommonBlock(local.get(), stick.get(), self.m_name, when.c_str(), details, InstructionPointer(context),
                         frames, count);

    for (FileReplacement* log : {stick.get(), local.get()})
    {
        if (log)
            log->Commit();
    }
    self.RunHandlers(signal);
    // Status 0 on purpose, as for a normal exit; no core dump, no re-raise.
    std::exit(0);
}

} // namespace Utilities
} // namespace Core
