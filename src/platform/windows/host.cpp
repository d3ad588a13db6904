#include "platform/host.h"

#include <windows.h>

#include <shlobj.h>

#include <vector>

#include "base/filetime.h"
#include "base/text.h"
#include "platform/windows/wide.h"

namespace {

// Major, minor and build number of a system library, which say what the version calls hide from old programs.
std::string library_version(const wchar_t* name) {
    DWORD unused = 0;
    const DWORD size = GetFileVersionInfoSizeW(name, &unused);
    std::vector<unsigned char> block(size);
    VS_FIXEDFILEINFO* facts = nullptr;
    UINT length = 0;
    if (size == 0 || GetFileVersionInfoW(name, 0, size, block.data()) == 0 ||
        VerQueryValueW(block.data(), L"\\", reinterpret_cast<void**>(&facts), &length) == 0) {
        return {};
    }
    return std::to_string(HIWORD(facts->dwFileVersionMS)) + "." + std::to_string(LOWORD(facts->dwFileVersionMS)) +
           " build " + std::to_string(HIWORD(facts->dwFileVersionLS));
}

std::string reported_version() {
    OSVERSIONINFOA version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExA(&version) == 0) return "<unk>";
    return std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) + " build " +
           std::to_string(version.dwBuildNumber);
}

// A token's answer to a question of fixed size.
template <class answer>
bool token_answer(HANDLE token, TOKEN_INFORMATION_CLASS question, answer& value) {
    DWORD length = 0;
    return GetTokenInformation(token, question, &value, sizeof value, &length) != 0;
}

bool linked_token_is_admin(HANDLE token) {
    unsigned char sid[SECURITY_MAX_SID_SIZE];
    DWORD size = sizeof sid;
    TOKEN_LINKED_TOKEN linked{};
    if (CreateWellKnownSid(WinBuiltinAdministratorsSid, nullptr, sid, &size) == 0) return false;
    if (!token_answer(token, TokenLinkedToken, linked)) return false;
    BOOL member = FALSE;
    const bool asked = CheckTokenMembership(linked.LinkedToken, sid, &member) != 0;
    CloseHandle(linked.LinkedToken);
    return asked && member != FALSE;
}

}  // namespace

clock_reading read_clock() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t ticks =
        ((static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime) - filetime_of_1970;
    return {static_cast<std::int64_t>(ticks / filetime_per_second),
            static_cast<std::uint32_t>(ticks / filetime_per_millisecond % 1000)};
}

local_moment local_time_now() {
    SYSTEMTIME now{};
    GetLocalTime(&now);
    return {now.wYear, now.wMonth, now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds};
}

std::string computer_name() {
    wchar_t name[4096];
    DWORD size = static_cast<DWORD>(std::size(name));
    return GetComputerNameW(name, &size) == 0 ? "<unk>" : utf8_from_utf16(units_of({name, size}));
}

std::string system_text() {
    SYSTEM_INFO facts{};
    GetNativeSystemInfo(&facts);
    const bool wide = facts.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_AMD64 ||
                      facts.wProcessorArchitecture == PROCESSOR_ARCHITECTURE_ARM64;
    const std::string version = library_version(L"kernel32.dll");
    return "Windows " + (version.empty() ? reported_version() : version) + (wide ? " [64-bit]" : " [32-bit]");
}

bool is_elevated_admin() {
    OSVERSIONINFOW version{};
    version.dwOSVersionInfoSize = sizeof version;
    if (GetVersionExW(&version) == 0) return false;
    if (version.dwMajorVersion < 6) return IsUserAnAdmin() != 0;
    HANDLE token = nullptr;
    if (OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token) == 0) return false;
    TOKEN_ELEVATION_TYPE type{};
    bool admin = token_answer(token, TokenElevationType, type);
    if (admin) admin = type == TokenElevationTypeLimited ? linked_token_is_admin(token) : IsUserAnAdmin() != 0;
    CloseHandle(token);
    // Kept: a restricted token fails even for a member of the administrators.
    return admin && (type == TokenElevationTypeDefault || type == TokenElevationTypeFull);
}

void signal_end_of_run(const std::string& name) {
    const HANDLE event = CreateEventA(nullptr, TRUE, FALSE, name.c_str());
    if (event == nullptr) return;
    SetEvent(event);
    CloseHandle(event);
}
