// Paths of the host: how they are written, made absolute, and what stands in the environment.
// Called by platform/host_paths.h and front/. Each system has its own rules; nothing here touches a file.
// Does not know paths inside a volume: those always use a back slash and are text to the host.
#pragma once

#include <optional>
#include <string>
#include <string_view>

// The host's separator: '/' on POSIX, '\' on Windows.
char16_t host_separator();
// True if `unit` divides components of a host path ('/' on POSIX; '\' and '/' on Windows).
bool is_host_separator(char16_t unit);
// Length of what opens an absolute path and is no directory of its own: "/" on POSIX, "x:", "x:\" or "\\?\" on Windows;
// 0 for none.
std::size_t root_length(std::u16string_view path);

// True if to open `path` is to ask another machine, or a device, by its name: never on POSIX.
bool names_another_machine(std::u16string_view path);

std::u16string current_directory();
// Absolute form of `path`, without asking the file system; quotes become blanks and the ends are trimmed first.
// Empty when the path cannot be placed.
std::u16string make_absolute(std::u16string_view path);
// The value of an environment variable, UTF-8; nothing when it is not set. The name's case counts where the host says
// so.
std::optional<std::string> environment_value(const std::string& name);
// The same, and the variable is gone from this process's environment. Only while there is one thread.
std::optional<std::string> take_environment_value(const std::string& name);
