# The libraries that the project stands on, in one place. Each is used by one room only.

find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

# kor
pkg_check_modules(PCRE2 REQUIRED IMPORTED_TARGET libpcre2-8)
pkg_check_modules(EXPAT REQUIRED IMPORTED_TARGET expat)
pkg_check_modules(PUGIXML REQUIRED IMPORTED_TARGET pugixml)
pkg_check_modules(LIBZIP REQUIRED IMPORTED_TARGET libzip)
pkg_check_modules(CURL REQUIRED IMPORTED_TARGET libcurl)
find_package(spdlog REQUIRED)

# korcore
pkg_check_modules(SQLITE REQUIRED IMPORTED_TARGET sqlite3)

# agent
pkg_check_modules(UUID REQUIRED IMPORTED_TARGET uuid)
find_package(nlohmann_json REQUIRED)
find_package(CLI11 REQUIRED)
