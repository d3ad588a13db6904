# Read by cpack, once for each kind of package: which parts go into it (see install.cmake).
set(parts program files)
if(CPACK_GENERATOR STREQUAL "DEB")
    list(APPEND parts debian)
    set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
elseif(CPACK_SYSTEM_NAME STREQUAL "linux-x86_64")
    set(parts static files manual)
endif()

list(GET CPACK_INSTALL_CMAKE_PROJECTS 0 tree)
set(CPACK_INSTALL_CMAKE_PROJECTS "")
foreach(part IN LISTS parts)
    list(APPEND CPACK_INSTALL_CMAKE_PROJECTS ${tree} grelmoor ${part} /)
endforeach()
