# ostrelvan_layer(<target>) makes the target's headers includable as "<folder>/<Header>.h", the
# folder as it stands under the source root ("core/SessionState.h", "app/store/SessionStore.h"),
# by the target and by whatever links it, and by nothing else: each library gets an include root
# of its own that holds only its folder. A header of a library a target does not link is then
# not found, rather than silently used.
function(ostrelvan_layer target)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    set(root ${PROJECT_BINARY_DIR}/include/${target})
    get_filename_component(parent ${root}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    if(NOT EXISTS ${root}/${folder})
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${root}/${folder} SYMBOLIC)
    endif()
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${root}>)
endfunction()
