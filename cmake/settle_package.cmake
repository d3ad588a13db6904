# Run by cpack on what it is about to pack: nobody's rights are those that a checkout happened to get, and every file bears
# the time that SOURCE_DATE_EPOCH names, if it is set.
execute_process(COMMAND chmod -R u=rwX,go=rX ${CPACK_TEMPORARY_DIRECTORY} COMMAND_ERROR_IS_FATAL ANY)
if(DEFINED ENV{SOURCE_DATE_EPOCH})
    execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
        COMMAND_ERROR_IS_FATAL ANY)
endif()
