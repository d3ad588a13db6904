#include "platform/process.h"

#include <windows.h>

#include <tlhelp32.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cwchar>
#include <mutex>
#include <string>

#include "base/numbers.h"
#include "base/text.h"
#include "platform/windows/instance_line.h"
#include "platform/windows/wide.h"

namespace {

constexpr wchar_t arguments_variable[] = L"GRELMOOR_ARGUMENTS";
constexpr wchar_t program_variable[] = L"GRELMOOR_PROGRAM";

std::mutex starting;  // while this process's environment holds what is meant for one instance
bool stopped = false;

// Processes of a job end when its last handle goes, which is when this process ends. Instances inherit ours.
HANDLE job_that_ends_with_us() {
    static const HANDLE job = [] {
        const HANDLE made = CreateJobObjectW(nullptr, nullptr);
        JOBOBJECT_EXTENDED_LIMIT_INFORMATION limits{};
        limits.BasicLimitInformation.LimitFlags = JOB_OBJECT_LIMIT_KILL_ON_JOB_CLOSE;
        SetInformationJobObject(made, JobObjectExtendedLimitInformation, &limits, sizeof limits);
        AssignProcessToJobObject(made, GetCurrentProcess());
        return made;
    }();
    return job;
}

std::wstring path_of_this_program() {
    std::wstring path(32768, L'\0');
    path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
    return path;
}

// Back slashes ahead of the closing quote would escape it for what takes the line apart, unless they are doubled.
void append_quoted(std::wstring& line, std::wstring argument) {
    std::erase(argument, L'"');
    const std::size_t last = argument.find_last_not_of(L'\\');
    const std::size_t trailing = argument.size() - (last == std::wstring::npos ? 0 : last + 1);
    line += L'"' + argument + std::wstring(trailing, L'\\') + L'"';
}

std::wstring line_of(const std::vector<std::string>& arguments) {
    std::wstring line;
    for (const std::string& argument : arguments) {
        if (!line.empty()) line += L' ';
        append_quoted(line, wide_of(utf16_from_utf8(argument)));
    }
    return line;
}

// The processor is given a variable that holds the program's path, so that its rule for a line that begins with a quote
// does not see it. The arguments it does not see at all: there is no way to write a "%" that it leaves alone.
std::FILE* start(const std::vector<std::string>& arguments, const environment_variable& added) {
    const std::wstring name = wide_of(utf16_from_utf8(added.name)), value = wide_of(utf16_from_utf8(added.value));
    const std::wstring program = L'"' + path_of_this_program() + L'"', line = line_of(arguments);
    const std::lock_guard<std::mutex> alone(starting);
    if (stopped || SetEnvironmentVariableW(arguments_variable, line.c_str()) == 0) return nullptr;
    SetEnvironmentVariableW(program_variable, program.c_str());
    SetEnvironmentVariableW(name.c_str(), value.c_str());
    std::FILE* stream = _wpopen((L"%" + std::wstring(program_variable) + L"%").c_str(), L"rb");
    for (const wchar_t* each : {name.c_str(), program_variable, arguments_variable})
        SetEnvironmentVariableW(each, nullptr);
    return stream;
}

void drain(std::FILE* stream) {
    std::array<char, 16384> block;
    while (std::fread(block.data(), 1, block.size(), stream) > 0) {
    }
}

// True if it is one that ends by this.
bool end_process(DWORD number) {
    const HANDLE process = number == GetCurrentProcessId() ? nullptr : OpenProcess(PROCESS_TERMINATE, FALSE, number);
    if (process == nullptr) return false;
    constexpr UINT status = 0xC000013A;  // STATUS_CONTROL_C_EXIT
    const bool ends = TerminateProcess(process, status) != 0;
    CloseHandle(process);
    return ends;
}

// Some of the job's processes, not all: a caller comes again as long as there were some.
bool end_some_of(HANDLE job) {
    constexpr std::size_t most = 256;
    struct {
        JOBOBJECT_BASIC_PROCESS_ID_LIST head;
        ULONG_PTR more[most];
    } list{};
    // Fails where there are more, and fills the list all the same.
    QueryInformationJobObject(job, JobObjectBasicProcessIdList, &list, sizeof list, nullptr);
    bool ended = false;
    const ULONG_PTR* numbers = list.head.ProcessIdList;
    for (DWORD index = 0; index < std::min<DWORD>(list.head.NumberOfProcessIdsInList, most); ++index)
        ended = end_process(static_cast<DWORD>(numbers[index])) || ended;
    return ended;
}

// 0: it is not in the list.
DWORD parent_of(DWORD process, HANDLE list) {
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(list, &entry); more != 0; more = Process32NextW(list, &entry))
        if (entry.th32ProcessID == process) return entry.th32ParentProcessID;
    return 0;
}

}  // namespace

std::wstring take_instance_line() {
    std::wstring line(32768, L'\0');  // the longest that a variable holds
    line.resize(GetEnvironmentVariableW(arguments_variable, line.data(), static_cast<DWORD>(line.size())));
    // Values may name variables, and none of these two is the user's.
    for (const wchar_t* each : {arguments_variable, program_variable}) SetEnvironmentVariableW(each, nullptr);
    return handed_over() ? line : std::wstring();
}

instance_end run_instance(const std::vector<std::string>& arguments, const std::string& text) {
    job_that_ends_with_us();
    std::FILE* const stream = start(arguments, hand_over(text));
    if (stream == nullptr) return {};
    drain(stream);
    return {true, _pclose(stream)};
}

void stop_instances() {
    const std::lock_guard<std::mutex> alone(starting);
    stopped = true;
    constexpr int attempts = 100;
    const HANDLE job = job_that_ends_with_us();
    // Guard: a null would mean the job that this process was put into, with all that others run there.
    for (int attempt = 0; job != nullptr && attempt < attempts && end_some_of(job); ++attempt) Sleep(1);
}

std::uint32_t own_process() { return GetCurrentProcessId(); }

bool is_started_by(std::uint32_t process) {
    constexpr int most_between = 4;  // the command processor, and what somebody may have put around that
    const HANDLE list = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (list == INVALID_HANDLE_VALUE) return false;
    DWORD ancestor = parent_of(GetCurrentProcessId(), list);
    for (int between = 0; between < most_between && ancestor != 0 && ancestor != process; ++between)
        ancestor = parent_of(ancestor, list);
    CloseHandle(list);
    return ancestor != 0 && ancestor == process;
}
