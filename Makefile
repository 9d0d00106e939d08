# The commands of everyday work. Each is thin: CMakePresets.json and scripts/ say how things are done.
#
#   make demo      builds what the demo needs, and runs it
#   make demo-cluster  the same with a cluster of brokers, one of which is killed
#   make test      builds everything and runs the test suite
#   make bench     runs the benchmarks; table on the screen, figures in build/bench/summary.json
#   make format    brings all sources into their form
#   make deps      installs what all of these need
#   make install   builds and installs the libraries and necctl (PREFIX, DESTDIR)

JOBS ?= $(shell nproc)
PREFIX ?= /usr/local

.PHONY: demo demo-cluster test bench format deps install

demo:
	@scripts/demo

demo-cluster:
	@scripts/demo-cluster

test:
	@scripts/deps build test
	cmake --preset dev
	cmake --build --preset dev -j $(JOBS)
	ctest --preset dev -j $$((2 * $(JOBS)))

bench:
	@scripts/deps build test
	cmake --preset release
	cmake --build --preset release -j $(JOBS) --target bench
	@mkdir -p build/bench
	build/release/bench/bench --out build/bench/summary.json

format:
	@scripts/deps format
	@scripts/sources | xargs clang-format -i

deps:
	@scripts/deps build test format

install:
	@scripts/deps build
	cmake --preset release -B build/product -DNEC_TESTS=OFF
	cmake --build build/product -j $(JOBS) --target nec necctl nec-peers
	cmake --install build/product --prefix $(PREFIX)
