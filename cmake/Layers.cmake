# The library's layers as build facts. Each source folder is an object library that sees only
# its own headers and those of the layers it may include (docs/layers.md), so including a
# header from a layer above fails to compile. The objects of every layer make up the one
# library `datamodel`.
#
# A layer's include view is a directory of links in the build tree,
# <build>/layers/<Layer>/{src,gen}/<Folder> -> the folder's sources and generated files, so
# headers keep being included from the Sources root ("Profile/UserEntity.h") while a folder
# that is not linked there cannot be found.

set(DM_LAYER_ROOT ${PROJECT_BINARY_DIR}/layers)

# Links `path` (a folder or file under the sources or the generated tree) into `layer`'s view.
function(dm_layer_link layer kind rel target)
  set(link ${DM_LAYER_ROOT}/${layer}/${kind}/${rel})
  get_filename_component(parent ${link} DIRECTORY)
  file(MAKE_DIRECTORY ${parent})
  if(NOT IS_SYMLINK ${link})
    file(CREATE_LINK ${target} ${link} SYMBOLIC)
  endif()
endfunction()

# Creates the layer `name` (one entry of DM_LAYERS): every source under Sources/<folder> and
# the generated sources of that folder (plus `extras`, files of the generated tree). A folder
# that does not exist yet (a subsystem not written) yields no target.
function(dm_layer name folder depends extras)
  set(dir ${PROJECT_SOURCE_DIR}/Sources/${folder})
  if(NOT IS_DIRECTORY ${dir})
    return()
  endif()
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${dir}/*.cpp ${dir}/*.h)
  set(generated ${DM_GENERATED_RECORDS})
  list(FILTER generated INCLUDE REGEX "^${DM_GENERATED_DIR}/${folder}/.*\\.(cpp|h)$")
  foreach(extra IN LISTS extras)
    list(APPEND generated ${DM_GENERATED_DIR}/${extra})
  endforeach()

  set(target dm_layer_${name})
  add_library(${target} OBJECT ${sources} ${generated})
  add_dependencies(${target} dm_generated_records)
  dm_layer_link(${name} src ${folder} ${dir})
  file(MAKE_DIRECTORY ${DM_GENERATED_DIR}/${folder})
  dm_layer_link(${name} gen ${folder} ${DM_GENERATED_DIR}/${folder})
  foreach(extra IN LISTS extras)
    dm_layer_link(${name} gen ${extra} ${DM_GENERATED_DIR}/${extra})
  endforeach()
  target_include_directories(${target} PUBLIC ${DM_LAYER_ROOT}/${name}/src
    ${DM_LAYER_ROOT}/${name}/gen)
  foreach(dep IN LISTS depends)
    if(TARGET dm_layer_${dep})
      # Public: a layer's headers include those of the layers below it.
      target_link_libraries(${target} PUBLIC dm_layer_${dep})
    endif()
  endforeach()
  target_link_libraries(${target} PUBLIC dm_third_party)
  dm_set_warnings(${target})
  set_property(GLOBAL APPEND PROPERTY DM_LAYER_TARGETS ${target})
  # One line of the views file the layer check reads (Tests/Layers/check-views.py).
  string(REPLACE ";" "," depends_text "${depends}")
  set_property(GLOBAL APPEND_STRING PROPERTY DM_LAYER_VIEWS
    "${name}|${folder}|${depends_text}|$<JOIN:$<TARGET_PROPERTY:${target},INCLUDE_DIRECTORIES>,;>\n")
endfunction()

# The top-level folders of the layers from the lowest up (the generator's --layers).
function(dm_layer_folders out)
  set(folders "")
  foreach(entry IN LISTS DM_LAYERS)
    string(REPLACE "|" ";" fields "${entry}")
    list(GET fields 1 folder)
    string(REGEX REPLACE "/.*" "" top ${folder})
    list(APPEND folders ${top})
  endforeach()
  list(REMOVE_DUPLICATES folders)
  string(REPLACE ";" "," folders "${folders}")
  set(${out} ${folders} PARENT_SCOPE)
endfunction()

# Creates every layer of DM_LAYERS.
function(dm_create_layers)
  foreach(entry IN LISTS DM_LAYERS)
    string(REPLACE "|" ";" fields "${entry}")
    list(GET fields 0 name)
    list(GET fields 1 folder)
    list(GET fields 2 depends)
    list(GET fields 3 extras)
    string(REPLACE "," ";" depends "${depends}")
    string(REPLACE "," ";" extras "${extras}")
    foreach(dep IN LISTS depends)
      if(NOT dep IN_LIST DM_LAYER_NAMES)
        message(FATAL_ERROR "Layer ${name} depends on ${dep}, which is not declared below it")
      endif()
    endforeach()
    dm_layer(${name} ${folder} "${depends}" "${extras}")
    list(APPEND DM_LAYER_NAMES ${name})
    list(APPEND declared ${folder})
  endforeach()
  set_property(GLOBAL PROPERTY DM_LAYER_DECLARED_FOLDERS ${declared})
  get_property(views GLOBAL PROPERTY DM_LAYER_VIEWS)
  file(GENERATE OUTPUT ${DM_LAYER_ROOT}/views.txt CONTENT "${views}")
endfunction()

# Every top-level folder of Sources/ (and of Sources/Platform/) must be a declared layer: a new
# folder fails the configure instead of landing in a target that sees everything.
function(dm_check_layer_folders)
  get_property(declared GLOBAL PROPERTY DM_LAYER_DECLARED_FOLDERS)
  file(GLOB entries LIST_DIRECTORIES true RELATIVE ${PROJECT_SOURCE_DIR}/Sources
    ${PROJECT_SOURCE_DIR}/Sources/* ${PROJECT_SOURCE_DIR}/Sources/Platform/*)
  foreach(entry IN LISTS entries)
    if(NOT IS_DIRECTORY ${PROJECT_SOURCE_DIR}/Sources/${entry} OR entry STREQUAL "Platform")
      continue()
    endif()
    if(NOT entry IN_LIST declared)
      message(FATAL_ERROR "Sources/${entry} belongs to no layer. Declare it in "
        "cmake/LayerTable.cmake with the layers it may include (see docs/layers.md).")
    endif()
  endforeach()
endfunction()
