# Fails unless the library's dynamic symbol table defines exactly the entry
# points of the C++ and the C interface.
execute_process(COMMAND ${NM} -D --defined-only ${LIBRARY} OUTPUT_VARIABLE symbols RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
string(REGEX MATCHALL "[0-9a-fA-F]+ [A-Za-z] [^\n]+" rows "${symbols}")
set(exported "")
foreach(row IN LISTS rows)
  string(REGEX REPLACE "^[0-9a-fA-F]+ ([A-Za-z]) (.+)$" "\\1;\\2" parts "${row}")
  list(GET parts 0 kind)
  list(GET parts 1 name)
  # Absolute symbols are the version nodes of the linker script, not code.
  if(NOT kind STREQUAL "A")
    list(APPEND exported "${name}")
  endif()
endforeach()
list(SORT exported)
# The C++ entry points and the C interface.
set(expected "Data_To_Pava;Pava_SetLogOutput;Pava_To_Data;pava_decode;pava_describe;pava_dissect;pava_dissection_count;pava_dissection_free;pava_dissection_span;pava_encode;pava_encode_into;pava_frames_at;pava_frames_count;pava_frames_free;pava_frames_new;pava_get_bytes;pava_get_int;pava_header;pava_ids;pava_joiner_finish;pava_joiner_free;pava_joiner_new;pava_joiner_part;pava_joiner_pop;pava_joiner_problem;pava_joiner_push;pava_list_resize;pava_list_size;pava_member_at;pava_member_count;pava_plausible_header;pava_rc_text;pava_record_copy;pava_record_free;pava_record_new;pava_record_reset;pava_record_walk;pava_set_bytes;pava_set_int;pava_set_log;pava_version;pava_wire_size")
if(NOT exported STREQUAL expected)
  message(FATAL_ERROR "exported symbols are '${exported}', expected '${expected}'")
endif()
message(STATUS "exports: ${exported}")
