# Libraries the kernel itself links privately. Optional peers used only by the
# benchmarks and tests are found in bench/ and tests/.
find_package(Threads REQUIRED)
find_package(PkgConfig REQUIRED)
find_package(PNG REQUIRED)
set(NK_PRIVATE_LIBS PNG::PNG)
# pugixml reads and writes the XML property bag.
find_package(pugixml REQUIRED)
list(APPEND NK_PRIVATE_LIBS pugixml::pugixml)
# Little CMS backs the ICC-profile CMYK mapper.
pkg_check_modules(LCMS2 REQUIRED IMPORTED_TARGET lcms2)
list(APPEND NK_PRIVATE_LIBS PkgConfig::LCMS2)
