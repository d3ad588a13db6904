# The version is that of the banner, where users read it; every package takes it from there.
set(banner_header ${CMAKE_CURRENT_SOURCE_DIR}/src/front/usage.h)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${banner_header})
file(STRINGS ${banner_header} banner_version REGEX "banner = \"grelmoor ver: [0-9.]+\"")
string(REGEX REPLACE ".*ver: ([0-9.]+)\".*" "\\1" banner_version "${banner_version}")
