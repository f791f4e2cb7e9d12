# Installs what names the drivers to the loaders, which take full paths alone: these are known by now and not earlier.
# The caller sets `folder`, the drivers' below the prefix, and `staged`, a folder of the build tree.

# CPack installs into a folder of its own. What it makes of that is a Debian package, which goes to /usr.
get_filename_component(prefix "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
if(prefix MATCHES "/_CPack_Packages/")
  set(prefix /usr)
endif()
file(WRITE ${staged}/rigegl.json
     "{\"file_format_version\": \"1.0.0\", \"ICD\": {\"library_path\": \"${prefix}/${folder}/librigegl.so\"}}\n")
file(WRITE ${staged}/icd/rigbadicd.icd "${prefix}/${folder}/librigbadicd.so\n")
file(INSTALL ${staged}/rigegl.json ${staged}/icd DESTINATION "${CMAKE_INSTALL_PREFIX}/${folder}")
