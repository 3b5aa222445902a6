# The project's commands. Each one installs what is missing, configures, builds and runs.
.PHONY: all deps demo test tsan bench build-default build-asan build-tsan clean

all: build-default

deps:
	@bash scripts/install-deps.sh

build-%: deps
	cmake --preset $*
	cmake --build --preset $*

demo: build-default
	./build/default/bin/zeta-sim-demo --out out

test: build-default build-asan
	ctest --preset default
	ctest --preset asan

tsan: build-tsan
	ctest --preset tsan

bench: build-default
	bash bench/run.sh build/default/bin

clean:
	rm -rf build out
