#include "platform/process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <mutex>

namespace {

// A number in the list is a process that nobody has waited for yet, so that the system has not given it away again.
struct running_instances {
    std::mutex lock;
    std::vector<pid_t> numbers;
    bool stopped = false;
};
running_instances running;

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

// What the new process becomes: all that needs memory is made ahead of it.
struct new_image {
    std::string added;  // to the environment
    std::vector<char*> arguments, environment;
};

void fill(new_image& image, const std::vector<std::string>& arguments, const environment_variable& added) {
    image.arguments = pointers_to(arguments);
    for (char** entry = environ; *entry != nullptr; ++entry) image.environment.push_back(*entry);
    image.added = added.name + "=" + added.value;
    image.environment.push_back(image.added.data());
    image.environment.push_back(nullptr);
}

// In the new process, where only calls are allowed that take no lock.
[[noreturn]] void become(const new_image& image, int output, pid_t parent) {
    for (const int number : {SIGPIPE, SIGTERM}) std::signal(number, SIG_DFL);
    // It must not outlive the process that waits for it, and that may be gone already.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    if (dup2(output, STDOUT_FILENO) < 0) _exit(1);
    execve("/proc/self/exe", image.arguments.data(), image.environment.data());
    _exit(127);
}

void drain(int descriptor) {
    std::array<char, 16384> block;
    for (;;) {
        const ssize_t got = read(descriptor, block.data(), block.size());
        if (got == 0 || (got < 0 && errno != EINTR)) return;
    }
}

// The new process's number; below 0 if there is none.
pid_t start(const new_image& image, int output) {
    const std::lock_guard<std::mutex> alone(running.lock);
    if (running.stopped) return -1;
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) become(image, output, parent);
    if (child > 0) running.numbers.push_back(child);
    return child;
}

void take_from_list(pid_t child) {
    siginfo_t facts;
    while (waitid(P_PID, static_cast<id_t>(child), &facts, WEXITED | WNOWAIT) < 0 && errno == EINTR) {
    }
    const std::lock_guard<std::mutex> alone(running.lock);
    std::erase(running.numbers, child);
}

int status_at_end(pid_t child) {
    constexpr int signal_base = 128;
    int status = 0;
    take_from_list(child);
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) return signal_base;
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : signal_base + WTERMSIG(status);
}

}  // namespace

instance_end run_instance(const std::vector<std::string>& arguments, const std::string& text) {
    pipe_ends output;
    instance_end end;
    if (arguments.empty() || !open_pipe(output)) return end;
    new_image image;
    fill(image, arguments, hand_over(text));
    const pid_t child = start(image, output.write);
    close(output.write);
    if (child > 0) {
        drain(output.read);
        end = {true, status_at_end(child)};
    }
    close(output.read);
    return end;
}

void stop_instances() {
    const std::lock_guard<std::mutex> alone(running.lock);
    running.stopped = true;
    for (const pid_t child : running.numbers) kill(child, SIGTERM);
}

std::uint32_t own_process() { return static_cast<std::uint32_t>(getpid()); }

bool is_started_by(std::uint32_t process) { return static_cast<std::uint32_t>(getppid()) == process; }
