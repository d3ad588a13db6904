#include "platform/process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>

namespace {

struct pipe_ends {
    int read = -1, write = -1;
};

bool open_pipe(pipe_ends& ends) {
    int descriptors[2];
    if (pipe2(descriptors, O_CLOEXEC) != 0) return false;
    ends = {descriptors[0], descriptors[1]};
    return true;
}

std::vector<char*> pointers_to(const std::vector<std::string>& arguments) {
    std::vector<char*> pointers;
    pointers.reserve(arguments.size() + 1);
    for (const std::string& argument : arguments) pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    return pointers;
}

// In the new process, where only calls are allowed that take no lock.
[[noreturn]] void become(const std::vector<char*>& arguments, int output, pid_t parent) {
    // It must not outlive the process that waits for it, and that may be gone already.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    std::signal(SIGPIPE, SIG_DFL);
    if (dup2(output, STDOUT_FILENO) < 0) _exit(1);
    execv("/proc/self/exe", arguments.data());
    _exit(127);
}

void drain(int descriptor) {
    std::array<char, 16384> block;
    for (;;) {
        const ssize_t got = read(descriptor, block.data(), block.size());
        if (got == 0 || (got < 0 && errno != EINTR)) return;
    }
}

int status_at_end(pid_t child) {
    constexpr int signal_base = 128;
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return signal_base;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : signal_base + WTERMSIG(status);
}

}  // namespace

instance_end run_instance(const std::vector<std::string>& arguments) {
    pipe_ends output;
    instance_end end;
    if (arguments.empty() || !open_pipe(output)) return end;
    const std::vector<char*> pointers = pointers_to(arguments);
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) become(pointers, output.write, parent);
    close(output.write);
    if (child > 0) {
        drain(output.read);
        end = {true, status_at_end(child)};
    }
    close(output.read);
    return end;
}
