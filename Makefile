# The front door. `make demo` and `make test` install the packages they need (Debian) and do the rest.

.PHONY: help demo test asan format format-check tidy clean
.DEFAULT_GOAL := help

BUILD_PACKAGES = g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libgit2-dev
DEMO_PACKAGES = $(BUILD_PACKAGES) nginx apache2-bin openssl
TEST_PACKAGES = $(BUILD_PACKAGES) googletest librapidcheck-dev nginx apache2-bin openssl patch
CHECK_PACKAGES = $(TEST_PACKAGES) clang-format clang-tidy

SOURCES = $(shell git ls-files '*.h' '*.cpp')

help:
	@echo 'make demo          build, edit the example sites, show what changes, ask nginx and httpd'
	@echo 'make test          build with warnings as errors, run every test'
	@echo 'make asan          the same tests under the sanitizers, with checked containers'
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
