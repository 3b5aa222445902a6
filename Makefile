# The project's commands. Each one installs what is missing, configures, builds and runs.
.PHONY: all deps demo test tsan bench build-default build-asan build-tsan clean

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

demo: build-default
	./build/default/bin/zetavoro scan --out out

test: build-default build-asan
	ctest --preset default
	ctest --preset asan

tsan: build-tsan
	ctest --preset tsan

bench: build-default
	bash bench/run.sh build/default/bin

clean:
	rm -rf build out
