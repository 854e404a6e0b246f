# Run by CPack on what it is about to pack: Debian wants man pages and change logs compressed.
file(GLOB_RECURSE texts "${CPACK_TEMPORARY_DIRECTORY}/usr/share/man/*.1"
     "${CPACK_TEMPORARY_DIRECTORY}/usr/share/doc/*/changelog")
foreach(text ${texts})
    execute_process(COMMAND gzip -9nf ${text} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
