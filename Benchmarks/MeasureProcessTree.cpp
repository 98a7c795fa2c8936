// Runs a command and measures it with every process that it leaves behind.
// Usage: bench-measure <file for standard output> <command> [argument...]
// Prints one line: exit status, wall seconds until the command ended, wall seconds until all its processes had ended, processor
// seconds of all its processes, and the peak memory of the command's own process in KiB.

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <linux/perf_event.h>
#include <string>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double now()
{
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// A counter of the processor time of `process`, which has not begun its command yet, and of all that it will start. What the system
// adds up for a parent misses those that end with their process namespace, as the pages of a sandboxed engine do.
int processorTimeOf(pid_t process)
{
    perf_event_attr counter{};
    counter.size = sizeof counter;
    counter.type = PERF_TYPE_SOFTWARE;
    counter.config = PERF_COUNT_SW_TASK_CLOCK;
    counter.disabled = 1;
    counter.enable_on_exec = 1;
    counter.inherit = 1;
    // The kernel's share of the time is counted all the same; asking for it by name takes more rights.
    counter.exclude_kernel = 1;
    counter.exclude_hv = 1;
    return static_cast<int>(syscall(SYS_perf_event_open, &counter, process, -1, -1, PERF_FLAG_FD_CLOEXEC));
}

// What a process reached so far. What wait4() tells would be the largest of the process and its children.
long peakMemory(pid_t process)
{
    std::FILE* file = std::fopen(("/proc/" + std::to_string(process) + "/status").c_str(), "r");
    if (!file)
        return 0;
    char line[256];
    long peak = 0;
    while (std::fgets(line, sizeof line, file))
        if (std::strncmp(line, "VmHWM:", 6) == 0)
            peak = std::atol(line + 6);
    std::fclose(file);
    return peak;
}

// Follows `child` to its end; gives its wait status. Stopping it just before its end is the only way to see its peak whole.
int follow(pid_t child, long& peak)
{
    int status = 0;
    while (true) {
        if (waitpid(child, &status, __WALL) < 0) {
            if (errno == EINTR)
                continue;
            std::perror("waitpid");
            std::exit(1);
        }
        if (!WIFSTOPPED(status))
            return status;
        const int event = status >> 16;
        if (event == PTRACE_EVENT_EXIT)
            peak = peakMemory(child);
        // Events go on as they are; signals are handed on.
        ptrace(PTRACE_CONT, child, nullptr, event ? 0 : WSTOPSIG(status));
    }
}

}

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: %s <output> <command> [argument...]\n", argv[0]);
        return 2;
    }
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    int gate[2];
    if (pipe2(gate, O_CLOEXEC) != 0)
        return 1;
    const pid_t child = fork();
    if (child == 0) {
        const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
        const int output = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
        const int error = open("/dev/null", O_WRONLY | O_CLOEXEC);
        dup2(input, 0);
        dup2(output, 1);
        dup2(error, 2);
        // Waits until it is followed.
        char ignored;
        close(gate[1]);
        while (read(gate[0], &ignored, 1) < 0 && errno == EINTR) { }
        execvp(argv[2], argv + 2);
        _exit(127);
    }
    if (child < 0 || ptrace(PTRACE_SEIZE, child, nullptr, PTRACE_O_TRACEEXIT) != 0) {
        std::perror("cannot follow the command");
        if (child > 0)
            kill(child, SIGKILL);
        return 1;
    }
    const int counter = processorTimeOf(child);
    if (counter < 0) {
        std::perror("cannot count processor time (is kernel.perf_event_paranoid above 2?)");
        kill(child, SIGKILL);
        return 1;
    }
    const double begin = now();
    close(gate[0]);
    close(gate[1]);
    long peak = 0;
    const int status = follow(child, peak);
    const double ended = now();
    alarm(30);   // a process that never ends must not stop the measurement
    while (waitpid(-1, nullptr, __WALL) > 0 || errno == EINTR) { }
    const double gone = now();
    uint64_t processor = 0;   // nanoseconds
    if (read(counter, &processor, sizeof processor) != sizeof processor) {
        std::perror("cannot read the processor time");
        return 1;
    }
    std::printf("%d %.4f %.4f %.4f %ld\n", WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), ended - begin,
        gone - begin, static_cast<double>(processor) / 1e9, peak);
    return 0;
}
