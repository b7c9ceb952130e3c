# Thin names over the CMake presets; HACKING.md explains them.
version := $(shell sed -n 's/^project.*VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)

.PHONY: all demo test asan tsan fuzz clang docs bench figures format lint install package check-package clean

all:
	@scripts/install-deps build test
	cmake --preset release
	cmake --build --preset release

# Builds and decodes the bundled MP3 to a WAV.
demo:
	@scripts/install-deps build
	@cmake --preset release -DQORAC_TESTS=OFF >/dev/null
	@cmake --build --preset release --target qordec
	@mkdir -p demo-out
	build/release/out/qordec demo/demo.mp3 demo-out/demo.wav

# Builds and runs all tests.
test:
	@scripts/install-deps build test
	cmake --preset release -DQORAC_TESTS=ON
	cmake --build --preset release
	ctest --preset release

# The tests under AddressSanitizer and UndefinedBehaviorSanitizer.
asan:
	@scripts/install-deps build test
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# Many decoders and encoders at once, and shared contexts, under ThreadSanitizer.
tsan:
	@scripts/install-deps build test
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

# Each fuzz target for FUZZ_SECONDS from its corpus; what it finds is left in build/fuzz/found.
FUZZ_SECONDS ?= 600
fuzz:
	@scripts/install-deps build clang fuzz
	cmake --preset fuzz
	cmake --build --preset fuzz
	scripts/run-fuzz $(FUZZ_SECONDS)

# The library, the tools and the tests built by clang.
clang:
	@scripts/install-deps build test clang
	cmake --preset clang
	cmake --build --preset clang

# The reference of all functions: build/docs/html/index.html.
docs:
	@scripts/install-deps docs
	@mkdir -p build/docs
	QORAC_VERSION=$(version) doxygen docs/reference/Doxyfile

# Every benchmark, with the peers that are installed.
bench:
	@scripts/install-deps build bench
	cmake --preset bench
	cmake --build --preset bench
	scripts/run-bench

# The tables and charts of docs/performance.md and its pages, from one run of the benchmarks.
figures:
	@scripts/install-deps build bench
	scripts/figures

format:
	@scripts/install-deps lint
	git ls-files '*.h' '*.cpp' '*.c' | xargs clang-format -i

lint:
	@scripts/install-deps build test lint
	cmake --preset clang
	git ls-files 'core/*.cpp' 'src/*.cpp' 'tools/*.cpp' | xargs -P2 -n4 clang-tidy --quiet -p build/clang

install: all
	cmake --install build/release

# Debian packages in build/package; check-package installs and runs them on a clean root.
package:
	@scripts/install-deps build package
	cmake --preset package
	cmake --build --preset package
	cd build/package && cpack

check-package: package
	@scripts/install-deps check-package
	scripts/check-package build/package/*.deb

clean:
	rm -rf build demo-out
