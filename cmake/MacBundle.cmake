# The macOS form of the module: a bundle with the resource file in it. docs/building.md says what has been tried of this.
set_target_properties(Quorvel PROPERTIES
  BUNDLE TRUE
  BUNDLE_EXTENSION plugin
  MACOSX_BUNDLE_INFO_PLIST "${PROJECT_SOURCE_DIR}/packaging/macos/Info.plist.in")
target_link_options(Quorvel PRIVATE
  "LINKER:-exported_symbol,_EffectMain" "LINKER:-exported_symbol,_PluginDataEntryFunction")
set_source_files_properties("${PROJECT_BINARY_DIR}/Quorvel.rsrc" PROPERTIES
  GENERATED TRUE
  MACOSX_PACKAGE_LOCATION Resources)
target_sources(Quorvel PRIVATE "${PROJECT_BINARY_DIR}/Quorvel.rsrc")
