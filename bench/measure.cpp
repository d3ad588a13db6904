// Runs a command and prints what it cost: CPU and wall time in seconds, peak memory in KiB, its exit code.
// Run by bench/run.sh: measure <command> [arguments], or measure -first <text> <command> [arguments], which prints the
// milliseconds until a line of its standard output begins with that text, and stops it there.
// Small on purpose: a child's peak counts from that of the process that started it.
#include <fcntl.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>

namespace {

using timer = std::chrono::steady_clock;

double seconds_since(timer::time_point start) { return std::chrono::duration<double>(timer::now() - start).count(); }

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

pid_t start(char** command, int standard_output) {
    const pid_t child = fork();
    if (child != 0) return child;
    dup2(standard_output, STDOUT_FILENO);
    execvp(command[0], command);
    std::perror(command[0]);
    _exit(127);
}

int measure_run(char** command) {
    const int discard = open("/dev/null", O_WRONLY | O_CLOEXEC);
    const timer::time_point begin = timer::now();
    const pid_t child = start(command, discard);
    int status = 0;
    rusage usage{};
    if (child < 0 || wait4(child, &status, 0, &usage) != child) return 1;
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    std::printf("user=%.6f sys=%.6f wall=%.6f peak=%ld code=%d\n", seconds(usage.ru_utime), seconds(usage.ru_stime),
                seconds_since(begin), usage.ru_maxrss, code);
    return code;
}

int measure_first(const char* text, char** command) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return 1;
    const timer::time_point begin = timer::now();
    const pid_t child = start(command, ends[1]);
    close(ends[1]);
    std::FILE* lines = fdopen(ends[0], "r");
    if (child < 0 || lines == nullptr) return 1;
    char line[4096];
    bool met = false, whole = true;
    while (!met && std::fgets(line, sizeof line, lines) != nullptr) {
        met = whole && std::strncmp(line, text, std::strlen(text)) == 0;
        whole = std::strchr(line, '\n') != nullptr;
    }
    const double passed = seconds_since(begin);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    if (met) std::printf("first=%.3f\n", 1000 * passed);
    return met ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    if (count > 3 && std::strcmp(arguments[1], "-first") == 0) return measure_first(arguments[2], arguments + 3);
    if (count > 1) return measure_run(arguments + 1);
    std::fprintf(stderr, "measure [-first <text>] <command> [arguments]\n");
    return 2;
}
