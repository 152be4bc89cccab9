# Fails where all.hpp leaves out a public header.
file(READ ${ALL} all)
list(REMOVE_ITEM HEADERS all.hpp)
foreach(header IN LISTS HEADERS)
  string(FIND "${all}" "#include \"${header}\"" place)
  if(header MATCHES "\\.hpp$" AND place EQUAL -1)
    message(SEND_ERROR "all.hpp does not include ${header}")
  endif()
endforeach()
