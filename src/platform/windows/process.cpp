#include "platform/process.h"

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cwchar>

#include "base/numbers.h"
#include "base/text.h"
#include "platform/windows/wide.h"

namespace {

// Processes of a job end when its last handle goes, which is when this process ends. Instances inherit ours.
void join_job_that_ends_with_us() {
    static const HANDLE job = [] {
        const HANDLE made = CreateJobObjectW(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
        AssignProcessToJobObject(made, GetCurrentProcess());
        return made;
    }();
    static_cast<void>(job);
}

std::wstring path_of_this_program() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// Between quotes the command processor takes nothing for its own. Back slashes ahead of the closing quote would escape
// it for the program that takes the line apart, unless they are doubled.
void append_quoted(std::wstring& line, std::wstring argument) {
    std::erase(argument, L'"');
    const std::size_t last = argument.find_last_not_of(L'\\');
    const std::size_t trailing = argument.size() - (last == std::wstring::npos ? 0 : last + 1);
    line += L'"' + argument + std::wstring(trailing, L'\\') + L'"';
}

bool stands_alone(const std::string& argument) {
    return argument.starts_with('-') && argument.find_first_of(" \"&|<>^()%!") == std::string::npos;
}

std::wstring command_line(const std::vector<std::string>& arguments) {
    std::wstring line;
    append_quoted(line, path_of_this_program());
    for (std::size_t index = 1; index < arguments.size(); ++index) {
        if (arguments[index].empty()) continue;
        line += L' ';
        const std::wstring argument = wide_of(utf16_from_utf8(arguments[index]));
        if (stands_alone(arguments[index])) {
            line += argument;
        } else {
            append_quoted(line, argument);
        }
    }
    return line;
}

// The line goes through a variable: what stands in one is not searched for further variables, so that a "%" in a value
// stays, and the processor's rule for a line that begins with a quote does not see it.
std::wstring variable_for_line(const std::wstring& line) {
    static std::atomic<unsigned> count = 0;
    const std::wstring name = L"GRELMOOR_LINE_" + std::to_wstring(++count);
    return SetEnvironmentVariableW(name.c_str(), line.c_str()) != 0 ? name : std::wstring();
}

void drain(std::FILE* stream) {
    std::array<char, 16384> block;
    while (std::fread(block.data(), 1, block.size(), stream) > 0) {
    }
}

}  // namespace

instance_end run_instance(const std::vector<std::string>& arguments) {
    instance_end end;
    join_job_that_ends_with_us();
    const std::wstring variable = variable_for_line(command_line(arguments));
    if (variable.empty()) return end;
    std::FILE* stream = _wpopen((L"%" + variable + L"%").c_str(), L"rb");
    if (stream != nullptr) {
        drain(stream);
        end = {true, _pclose(stream)};
    }
    SetEnvironmentVariableW(variable.c_str(), nullptr);
    return end;
}
