# The project's commands. Each one installs what is missing, configures, builds and runs.
.PHONY: all deps demo test tsan bench fuzz fuzz-smoke build-default build-asan build-tsan build-fuzz \
	windows-deps windows windows-test clean

all: build-default

deps:
	@bash scripts/install-deps.sh

build-default: deps
	cmake --preset default
	cmake --build --preset default

build-asan: deps
	cmake --preset asan
	cmake --build --preset asan

build-tsan: deps
	cmake --preset tsan
	cmake --build --preset tsan

# Only the fuzz target and what it links (clang, ASan + UBSan, libFuzzer).
build-fuzz: deps
	cmake --preset fuzz
	cmake --build --preset fuzz

FUZZER := build/fuzz/bin/zeta_api_fuzzer

demo: build-default
	./build/default/bin/zetavoro scan --out out

test: build-default build-asan
	ctest --preset default
	ctest --preset asan
	$(MAKE) fuzz-smoke

# 60 s of fuzzing with a fixed seed on a scratch copy of the seed corpus; fails on any finding.
fuzz-smoke: build-fuzz
	bash tests/fuzz/run-fuzzer.sh smoke $(FUZZER)

# Ten minutes of fuzzing; findings in build/fuzz/findings/ (see tests/fuzz/README.md).
fuzz: build-fuzz
	bash tests/fuzz/run-fuzzer.sh long $(FUZZER) 600

tsan: build-tsan
	ctest --preset tsan

bench: build-default
	bash bench/run.sh build/default/bin

# Windows x86-64: the DLLs and programs cross-built with MinGW-w64, the test suite run under Wine
# (docs/getting-started.md, "Windows"). The compiler, Wine, glog and GoogleTest for Windows and a
# Wine prefix are made once under build/windows-deps.
WINDOWS_DEPS := build/windows-deps
WINDOWS_TOOLCHAIN := cmake/toolchain-mingw-w64-x86_64.cmake

windows-deps:
	@bash scripts/install-windows-deps.sh $(WINDOWS_DEPS) $(WINDOWS_TOOLCHAIN)

windows: windows-deps
	cmake --preset windows
	cmake --build --preset windows

windows-test: windows
	bash scripts/windows-test.sh

clean:
	rm -rf build out
