# The front door. `make demo` and `make test` install the packages they need (Debian) and do the rest.

.PHONY: help demo test asan fuzz format format-check tidy clean
.DEFAULT_GOAL := help

BUILD_PACKAGES = g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libgit2-dev
DEMO_PACKAGES = $(BUILD_PACKAGES) nginx apache2-bin openssl
TEST_PACKAGES = $(BUILD_PACKAGES) googletest librapidcheck-dev nginx apache2-bin openssl patch
FUZZ_PACKAGES = $(BUILD_PACKAGES) clang libclang-rt-14-dev
CHECK_PACKAGES = $(TEST_PACKAGES) clang-format clang-tidy

SOURCES = $(shell git ls-files '*.h' '*.cpp')

help:
	@echo 'make demo          build, edit the example sites, show what changes, ask nginx and httpd'
	@echo 'make test          build with warnings as errors, run every test'
	@echo 'make asan          the same tests under the sanitizers, with checked containers'
	@echo 'make fuzz TIME=60  try each fuzz target for so many seconds'
	@echo 'make format-check  see whether the sources are formatted; make format does it'
	@echo 'make tidy          run clang-tidy over the library and the program'
	@echo 'make clean         remove build/'

demo:
	cmake/install-packages.sh $(DEMO_PACKAGES)
	cmake --preset release -DQELTEMPLATE_BUILD_TESTS=OFF
	cmake --build --preset release
	examples/nginx/run.sh build/release/src/cli/qeltemplate
	examples/apache/run.sh build/release/src/cli/qeltemplate

test:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset release -DQELTEMPLATE_BUILD_TESTS=ON
	cmake --build --preset release
	ctest --preset release

asan:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# Seconds for each target. What is found is left in build/fuzz; keep it in tests/fuzz/regressions.
TIME = 60
FUZZ_TARGETS = request edits language values values_file

fuzz:
	cmake/install-packages.sh $(FUZZ_PACKAGES)
	cmake --preset fuzz
	cmake --build --preset fuzz
	cd build/fuzz && for target in $(FUZZ_TARGETS); do \
	  mkdir -p corpus/$$target && \
	  tests/fuzz/fuzz_$$target -max_total_time=$(TIME) -timeout=10 -rss_limit_mb=4096 \
	    -print_final_stats=1 -artifact_prefix=$$target- corpus/$$target \
	    tests/fuzz/seeds/$$target $(CURDIR)/tests/fuzz/regressions/$$target || exit 1; \
	done

format:
	clang-format -i $(SOURCES)

format-check:
	cmake/install-packages.sh $(CHECK_PACKAGES)
	clang-format --dry-run --Werror $(SOURCES)

tidy:
	cmake/install-packages.sh $(CHECK_PACKAGES)
	cmake --preset release -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
	printf '%s\n' $(filter src/%.cpp,$(SOURCES)) | xargs -n 1 -P 2 clang-tidy -p build/release --quiet

clean:
	rm -rf build
