# The Debian package: `cpack` in a build folder. It comes out the same, byte for byte, from the same sources in whatever
# folder, with the SOURCE_DATE_EPOCH and the umask that deploy/make-package sets.
set(pages)
foreach(page surva.1 surva.toml.5)
  set(file ${CMAKE_BINARY_DIR}/manual/${page}.gz)
  add_custom_command(OUTPUT ${file} DEPENDS surva
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/manual
    COMMAND sh -c "$<TARGET_FILE:surva> manual ${page} | gzip -9n > ${file}" VERBATIM)
  string(REGEX REPLACE ".*\\." "" section ${page})
  install(FILES ${file} DESTINATION share/man/man${section})
  list(APPEND pages ${file})
endforeach()
set(completion ${CMAKE_BINARY_DIR}/manual/completion)
add_custom_command(OUTPUT ${completion} DEPENDS surva
  COMMAND sh -c "$<TARGET_FILE:surva> manual completion > ${completion}" VERBATIM)
add_custom_target(manual ALL DEPENDS ${pages} ${completion})
install(FILES ${completion} DESTINATION share/bash-completion/completions RENAME surva)

install(FILES deploy/surva.service deploy/surva-backup.service deploy/surva-backup.timer
  DESTINATION /lib/systemd/system)
install(FILES deploy/surva.toml DESTINATION /etc PERMISSIONS OWNER_READ OWNER_WRITE)
install(FILES deploy/surva.logrotate DESTINATION /etc/logrotate.d RENAME surva)
install(FILES deploy/nginx-site.conf docs/operating.md README.md deploy/grafana.json DESTINATION share/doc/surva)
install(FILES deploy/debian/copyright DESTINATION share/doc/surva)

set(CPACK_GENERATOR DEB)
set(CPACK_SET_DESTDIR ON)
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "surva <root@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "evaluates courses and trainers")
set(CPACK_PACKAGE_DESCRIPTION
  "A web server with which a training company evaluates its courses and trainers:\n questionnaires, events, PINs for students, and reports. It keeps its data in a\n SQLite file or in a PostgreSQL database.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION web)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_DEPENDS "init-system-helpers (>= 1.54)")
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS "logrotate")
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "nginx, postgresql")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_CONTROL_EXTRA
  ${CMAKE_SOURCE_DIR}/deploy/debian/postinst ${CMAKE_SOURCE_DIR}/deploy/debian/prerm
  ${CMAKE_SOURCE_DIR}/deploy/debian/postrm ${CMAKE_SOURCE_DIR}/deploy/debian/conffiles)
include(CPack)
