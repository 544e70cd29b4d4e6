import os

from conan import ConanFile
from conan.tools.cmake import CMake, CMakeToolchain, cmake_layout
from conan.tools.files import copy


class CoreConan(ConanFile):
    name = "core"
    version = "6.8.101.2"
    description = "Keyframed parameters, speed curves, JSON documents, queues and a log"
    license = "MIT"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {"shared": [True, False]}
    default_options = {"shared": True}
    no_copy_source = True

    @property
    def _root(self):
        return os.path.normpath(os.path.join(self.recipe_folder, "..", ".."))

    def export_sources(self):
        for name in ("CMakeLists.txt", "LICENSE", "cmake/*", "include/*", "src/*",
                     "tools/debuggers/*"):
            copy(self, name, self._root, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def generate(self):
        toolchain = CMakeToolchain(self)
        for part in ("TESTS", "EXAMPLES", "TOOLS"):
            toolchain.cache_variables[f"CORE_BUILD_{part}"] = False
        toolchain.cache_variables["BUILD_SHARED_LIBS"] = bool(self.options.shared)
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        copy(self, "LICENSE", self.source_folder, os.path.join(self.package_folder, "licenses"))
        CMake(self).install()

    def package_info(self):
        # The library's own files for CMake, in place of generated ones.
        self.cpp_info.set_property("cmake_find_mode", "none")
        self.cpp_info.builddirs = [os.path.join("lib", "cmake", "core")]
        self.cpp_info.libs = ["core"]
        if not self.options.shared:
            self.cpp_info.defines = ["CORE_STATIC"]
            self.cpp_info.system_libs = (
                ["rpcrt4"] if self.settings.os == "Windows" else ["pthread", "m"])
