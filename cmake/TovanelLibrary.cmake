# What the project's libraries share: the alias Tovanel::<NAME>, which is also their name in the
# installed package, and for a shared build, only the API marked in their headers exported and a
# soname of the major and minor version (0.x releases are compatible within a minor version only).
function(tovanel_library target name)
  add_library(Tovanel::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
endfunction()
