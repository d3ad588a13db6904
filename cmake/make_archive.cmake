# Run by cpack for the archives: of what it has laid out, one top folder, in an order and with owners that no build
# machine decides. Its own archivers take the files as the file system lists them.
get_filename_component(above ${CPACK_TEMPORARY_DIRECTORY} DIRECTORY)
get_filename_component(folder ${CPACK_TEMPORARY_DIRECTORY} NAME)
set(archive ${above}/${folder})
if(folder MATCHES "windows")
    string(APPEND archive .zip)
    set(command "rm -f '${archive}' && find '${folder}' -type f | sort | zip -q -9 -X '${archive}' -@")
else()
    string(APPEND archive .tar.gz)
    set(command "tar --sort=name --owner=0 --group=0 --numeric-owner --mode=u=rwX,go=rX --format=ustar -c '${folder}' |
        gzip -9n >'${archive}'")
endif()
execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C TZ=UTC sh -c "${command}" WORKING_DIRECTORY ${above}
    COMMAND_ERROR_IS_FATAL ANY)
set(CPACK_EXTERNAL_BUILT_PACKAGES ${archive})
