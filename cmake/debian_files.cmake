# What only the .deb has: a packed manual, the change log and the terms of use as Debian has them, and its folder for zsh.
# `source` and `version` are set ahead of it.
set(share $ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/share)
set(docs ${share}/doc/grelmoor)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)  # heeds SOURCE_DATE_EPOCH
string(TIMESTAMP year "%Y" UTC)

function(write_packed file content)
    file(WRITE ${file} "${content}")
    execute_process(COMMAND gzip -9n -f ${file} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

file(READ ${source}/docs/grelmoor.1 manual)
write_packed(${share}/man/man1/grelmoor.1 "${manual}")
write_packed(${docs}/changelog "grelmoor (${version}) unstable; urgency=medium

  * What changed stands in CHANGELOG.md, beside this file.

 -- developers of grelmoor <grelmoor@example.org>  ${now}
")
file(WRITE ${docs}/copyright "Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: grelmoor

Files: *
Copyright: ${year} the authors of grelmoor
License: none-stated
 The sources of grelmoor state no licence. This package grants no right that
 its authors have not granted.
")
# This one looks for DESTDIR by itself.
file(INSTALL ${source}/completions/_grelmoor DESTINATION ${CMAKE_INSTALL_PREFIX}/share/zsh/vendor-completions)
