"""Conan 2 recipe for the checkout that contains it: `conan create packaging/conan`."""

import pathlib
import re

from conan import ConanFile
from conan.errors import ConanInvalidConfiguration
from conan.tools.build import check_min_cppstd
from conan.tools.cmake import CMake, CMakeDeps, CMakeToolchain, cmake_layout
from conan.tools.files import copy
from conan.tools.gnu import PkgConfigDeps


class Torvane(ConanFile):
    name = "torvane"
    description = "JSON Object Signing and Encryption (JOSE) for C++20"
    package_type = "library"
    settings = "os", "arch", "compiler", "build_type"
    options = {name: [True, False] for name in ("shared", "fPIC", "files", "policies", "secp256k1")}
    default_options = {"shared": False, "fPIC": True, "files": True, "policies": True, "secp256k1": True}
    implements = ["auto_shared_fpic"]

    def set_version(self):
        project = (pathlib.Path(self.recipe_folder) / "../../CMakeLists.txt").read_text()
        self.version = re.search(r"project\(torvane VERSION ([0-9.]+)", project).group(1)

    def export_sources(self):
        checkout = pathlib.Path(self.recipe_folder).parents[1]
        for pattern in ("CMakeLists.txt", "cmake/*", "torvane/*"):
            copy(self, pattern, checkout, self.export_sources_folder)

    def layout(self):
        cmake_layout(self)

    def requirements(self):
        self.requires("openssl/[>=3.0 <4]")
        if self.options.secp256k1:
            self.requires("libsecp256k1/[>=0.2]")
        self.requires("nlohmann_json/[>=3.11 <4]", visible=False)

    def validate(self):
        check_min_cppstd(self, 20)
        if self.settings.os == "Windows":
            raise ConanInvalidConfiguration("torvane does not support Windows")

    def build_requirements(self):
        self.tool_requires("cmake/[>=3.25]")
        self.tool_requires("pkgconf/[>=2]")

    def generate(self):
        CMakeDeps(self).generate()
        PkgConfigDeps(self).generate()
        toolchain = CMakeToolchain(self)
        toolchain.cache_variables["TORVANE_FILES"] = bool(self.options.files)
        toolchain.cache_variables["TORVANE_POLICIES"] = bool(self.options.policies)
        toolchain.cache_variables["TORVANE_SECP256K1"] = bool(self.options.secp256k1)
        # PKCS #11 needs p11-kit, which Conan does not have.
        for option in ("TORVANE_PKCS11", "TORVANE_BUILD_CLI", "TORVANE_BUILD_TESTS"):
            toolchain.cache_variables[option] = False
        toolchain.generate()

    def build(self):
        cmake = CMake(self)
        cmake.configure()
        cmake.build()

    def package(self):
        CMake(self).install()

    def package_info(self):
        self.cpp_info.libs = ["torvane"]
        self.cpp_info.set_property("cmake_file_name", "torvane")
        self.cpp_info.set_property("cmake_target_name", "torvane::torvane")
        self.cpp_info.set_property("pkg_config_name", "torvane")
