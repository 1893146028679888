# melta_fetch_debian_source(<package> <directory> <variable>)
#
# Asks the distribution for the upstream tarball of a source package and leaves it in <directory>; <variable> becomes
# its path, or empty when that fails. A system seldom lists source packages, so a list of them is derived here from the
# system's own list of binary packages. Everything apt writes goes below <directory>: neither its configuration nor its
# state changes, and no privileges are needed. Keyrings, proxies and pins of the system still hold.

function(melta_write_source_lists directory)
  file(GLOB lists /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/*.sources)
  foreach(list IN LISTS lists)
    get_filename_component(name "${list}" NAME)
    file(READ "${list}" text)
    # The line break in front makes every line, the first one too, begin in the same way.
    if(name MATCHES "\\.sources$")
      string(REGEX REPLACE "\n[Tt]ypes:[^\n]*" "\nTypes: deb-src" text "\n${text}")
    else()
      string(REGEX REPLACE "\n[ \t]*deb-src[ \t]" "\n# deb-src " text "\n${text}")
      string(REGEX REPLACE "\n[ \t]*deb[ \t]" "\ndeb-src " text "${text}")
    endif()
    file(WRITE "${directory}/${name}" "${text}")
  endforeach()
endfunction()

function(melta_write_apt_configuration file scratch)
  # The hooks of the system's `apt-get update` expect to run as root.
  file(WRITE "${file}" "\
Dir::Etc::sourcelist \"/dev/null\";
Dir::Etc::sourceparts \"${scratch}/sources\";
Dir::State::lists \"${scratch}/lists\";
Dir::Cache \"${scratch}/cache\";
#clear APT::Update::Pre-Invoke;
#clear APT::Update::Post-Invoke;
#clear APT::Update::Post-Invoke-Success;
")
endfunction()

function(melta_fetch_debian_source package directory variable)
  set(${variable} "" PARENT_SCOPE)
  find_program(MELTA_APT_GET apt-get)
  mark_as_advanced(MELTA_APT_GET)
  if(NOT MELTA_APT_GET)
    return()
  endif()

  set(scratch "${directory}/apt")
  file(REMOVE_RECURSE "${scratch}")
  file(MAKE_DIRECTORY "${scratch}/sources" "${scratch}/lists/partial" "${scratch}/cache/archives/partial")
  melta_write_source_lists("${scratch}/sources")
  melta_write_apt_configuration("${scratch}/apt.conf" "${scratch}")

  # One list among several may be out of reach without harm, so only the outcome of the second call counts.
  execute_process(COMMAND ${MELTA_APT_GET} -q -c "${scratch}/apt.conf" update
    OUTPUT_VARIABLE log ERROR_VARIABLE log TIMEOUT 300)
  execute_process(COMMAND ${MELTA_APT_GET} -q -c "${scratch}/apt.conf" source --tar-only ${package}
    WORKING_DIRECTORY "${scratch}" RESULT_VARIABLE result OUTPUT_VARIABLE log ERROR_VARIABLE log TIMEOUT 300)
  file(GLOB tarball "${scratch}/${package}_*.orig.tar.*")
  list(FILTER tarball EXCLUDE REGEX "\\.asc$")
  list(LENGTH tarball numTarballs)
  if(result EQUAL 0 AND numTarballs EQUAL 1)
    get_filename_component(name "${tarball}" NAME)
    file(RENAME "${tarball}" "${directory}/${name}")
    set(${variable} "${directory}/${name}" PARENT_SCOPE)
  else()
    message(STATUS "apt-get did not deliver the source of ${package}:\n${log}")
  endif()
  file(REMOVE_RECURSE "${scratch}")
endfunction()
