# What is installed where, and the packages. `cmake --install` takes the program and the files; package.sh makes of the
# parts below a .deb, an archive with a static Linux binary and one with the exe:
#   program   the program                     static    the same, without any library of the system
#   files     documents, sample, completions  manual    the manual page and zsh's completion, which a .deb has elsewhere
#   debian    what only a .deb has

include(GNUInstallDirs)

set(shells_folder ${PROJECT_SOURCE_DIR}/completions)
file(GLOB documents CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
# Above the documents, as in the sources: its links say docs/.
set(first_documents ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md)
set(samples ${PROJECT_SOURCE_DIR}/samples/small.mft ${PROJECT_SOURCE_DIR}/samples/small.img.gz
    ${PROJECT_SOURCE_DIR}/samples/case.img.gz ${PROJECT_SOURCE_DIR}/samples/oddities.img.gz
    ${PROJECT_SOURCE_DIR}/samples/README.md)
set(left_by_runs PATTERN __pycache__ EXCLUDE PATTERN .snakemake EXCLUDE)

if(WIN32)
    # One folder to unpack anywhere.
    install(TARGETS grelmoor RUNTIME DESTINATION . COMPONENT program)
    install(FILES ${first_documents} DESTINATION . COMPONENT files)
    install(FILES ${documents} DESTINATION docs COMPONENT files)
    install(FILES ${samples} DESTINATION samples COMPONENT files)
    install(DIRECTORY examples DESTINATION . COMPONENT files ${left_by_runs})
    install(FILES ${shells_folder}/grelmoor.ps1 DESTINATION . COMPONENT files)
else()
    # One file that runs on any Linux of the processor; the package of its distribution is the better neighbour.
    add_executable(grelmoor_static EXCLUDE_FROM_ALL src/main.cpp)
    target_link_libraries(grelmoor_static PRIVATE grelmoor_core warnings lto_objects lto_link)
    set_property(TARGET grelmoor_static PROPERTY POSITION_INDEPENDENT_CODE)  # its -pie would undo -static-pie
    target_compile_options(grelmoor_static PRIVATE -fPIE)
    target_link_options(grelmoor_static PRIVATE -static-pie -s)

    install(TARGETS grelmoor COMPONENT program)
    install(PROGRAMS $<TARGET_FILE:grelmoor_static> DESTINATION ${CMAKE_INSTALL_BINDIR} RENAME grelmoor
        COMPONENT static EXCLUDE_FROM_ALL)
    install(FILES docs/grelmoor.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT manual)
    install(FILES ${first_documents} DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT files)
    install(FILES ${documents} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT files)
    install(FILES ${samples} DESTINATION ${CMAKE_INSTALL_DOCDIR}/samples COMPONENT files)
    install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} USE_SOURCE_PERMISSIONS COMPONENT files
        ${left_by_runs})
    install(FILES ${shells_folder}/grelmoor.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
        RENAME grelmoor COMPONENT files)
    install(FILES ${shells_folder}/grelmoor.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d
        COMPONENT files)
    install(FILES ${shells_folder}/grelmoor.ps1 DESTINATION ${CMAKE_INSTALL_DATADIR}/grelmoor COMPONENT files)
    install(FILES ${shells_folder}/_grelmoor DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions COMPONENT manual)

    install(CODE "set(source \"${PROJECT_SOURCE_DIR}\")\nset(version \"${PROJECT_VERSION}\")"
        COMPONENT debian EXCLUDE_FROM_ALL)
    install(SCRIPT cmake/debian_files.cmake COMPONENT debian EXCLUDE_FROM_ALL)
endif()

# --- packages ----------------------------------------------------------------------------------------------------------

set(CPACK_PACKAGE_NAME grelmoor)
set(CPACK_PACKAGE_VENDOR "the developers of grelmoor")
set(CPACK_PACKAGE_CONTACT "developers of grelmoor <grelmoor@example.org>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "question NTFS volumes from their raw bytes")
set(CPACK_PACKAGE_DESCRIPTION "Walks the master file table of an NTFS volume, decodes every record itself and
writes timelines and lists for a forensic examiner: deleted entries, both sets
of timestamps, alternate data streams and cluster runs included. Reads
extracted $MFT files, disk and volume images, VMDK disks with their snapshots,
and live volumes, and never writes to a source.")
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_GENERATOR External)
set(CPACK_EXTERNAL_ENABLE_STAGING ON)
set(CPACK_EXTERNAL_PACKAGE_SCRIPT ${PROJECT_SOURCE_DIR}/cmake/make_archive.cmake)
string(TOLOWER ${CMAKE_SYSTEM_NAME}-${CMAKE_SYSTEM_PROCESSOR} CPACK_SYSTEM_NAME)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/settle_package.cmake)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/cmake/choose_package.cmake)

if(NOT WIN32)
    list(APPEND CPACK_GENERATOR DEB)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
include(CPack)
