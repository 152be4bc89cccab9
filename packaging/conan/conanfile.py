"""Recipe for Conan 2 that builds the tree that it lies in: conan create <this folder>.

The library that decides conditions takes CaDiCaL from the system, so it is left out unless asked for
with -o kssymbolicexpr/*:decide=True.
"""
import os
import re

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy, load


class KSSymbolicExprConan(ConanFile):
    name = "kssymbolicexpr"
    description = "Symbolic expressions and variant conditions of block diagrams"
    package_type = "shared-library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"tool": [True, False], "decide": [True, False]}
    default_options = {"tool": False, "decide": False, "boost/*:header_only": True}
    generators = "CMakeDeps"

    def _root(self):
        return os.path.normpath(os.path.join(self.recipe_folder, "..", ".."))

    def set_version(self):
        text = load(self, os.path.join(self._root(), "version.hpp"))
        self.version = re.search(r'KS_VERSION_STRING "([0-9.]+)"', text).group(1)

    def export_sources(self):
        copy(self, "*", self._root(), self.export_sources_folder, excludes=("build*", ".git*"))

    def requirements(self):
        self.requires("boost/[>=1.81]", transitive_headers=True)
        if self.options.tool:
            self.requires("cli11/[>=2.3]")
            self.requires("nlohmann_json/[>=3.11]")
            self.requires("libunistring/[>=0.9.10]")
            self.requires("simdjson/[>=3.0]")

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        toolchain.variables["KS_INSTALL"] = True
        toolchain.variables["KS_BUILD_TESTS"] = False
        toolchain.variables["KS_BUILD_EXAMPLES"] = False
        toolchain.variables["KS_BUILD_TOOLS"] = bool(self.options.tool)
        toolchain.variables["KS_BUILD_DECIDE"] = bool(self.options.decide)
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        # The CMake package that is installed names all targets; Conan makes none of its own.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = ["lib/cmake/KSSymbolicExpr"]
        self.cpp_info.libs = ["tqKSSymbolicExpr", "kshost"]
        if self.options.decide:
            self.cpp_info.libs.insert(0, "ksdecide")
