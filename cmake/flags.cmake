# Compiler and linker flags, as interface targets that the others link:
#   build_flags   everything that is compiled or linked: sanitizers, hardening, static linking on Windows
#   warnings      our own sources only (GoogleTest is compiled without)
#   lto_objects   objects that can be linked with or without link-time optimisation
#   lto_link      links with link-time optimisation

add_library(build_flags INTERFACE)
add_library(warnings INTERFACE)
add_library(lto_objects INTERFACE)
add_library(lto_link INTERFACE)

target_compile_options(warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(GRELMOOR_WERROR)
    target_compile_options(warnings INTERFACE -Werror)
endif()

if(GRELMOOR_SANITIZE)
    set(sanitizers -fsanitize=${GRELMOOR_SANITIZE} -fno-sanitize-recover=all)
    target_compile_options(build_flags INTERFACE ${sanitizers} -fno-omit-frame-pointer)
    target_compile_definitions(build_flags INTERFACE _GLIBCXX_ASSERTIONS)
    target_link_options(build_flags INTERFACE ${sanitizers})
endif()
if(GRELMOOR_FUZZ STREQUAL "libfuzzer")
    target_compile_options(build_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# The same bytes wherever the checkout lies, and whenever it is built.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
    target_compile_options(build_flags INTERFACE -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
endif()
if(WIN32)
    # One file to carry to another machine: no library beside it.
    target_link_options(build_flags INTERFACE -static -Wl,--no-insert-timestamp)
    target_compile_definitions(build_flags INTERFACE UNICODE _UNICODE _WIN32_WINNT=0x0A00)
    if(CMAKE_BUILD_TYPE STREQUAL "Release")
        # No -fstack-clash-protection: mingw's GCC 12 crashes on it.
        target_compile_options(build_flags INTERFACE -fstack-protector-strong -fcf-protection)
        target_link_options(build_flags INTERFACE -fstack-protector-strong)  # for its library
        target_compile_definitions(build_flags INTERFACE _GLIBCXX_ASSERTIONS)
    endif()
elseif(CMAKE_BUILD_TYPE STREQUAL "Release")
    include(CheckPIESupported)
    check_pie_supported()
    target_compile_options(build_flags INTERFACE -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2 -fstack-protector-strong
        -fstack-clash-protection -fcf-protection -fno-plt)
    target_compile_definitions(build_flags INTERFACE _GLIBCXX_ASSERTIONS)
    target_link_options(build_flags INTERFACE -Wl,-z,relro,-z,now -Wl,-z,noexecstack)
endif()

# Objects hold both forms, so that only the program itself pays for the long link; the tests link the plain form.
if(CMAKE_BUILD_TYPE STREQUAL "Release" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(lto_objects INTERFACE -flto=auto -ffat-lto-objects)
    target_link_options(lto_link INTERFACE -flto=auto -O2)
endif()
