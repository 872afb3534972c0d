# SPDX-License-Identifier: Apache-2.0

# The front door. `make demo` and `make test` install the packages they need (Debian) and do the rest.

.PHONY: help demo test bindings-test abi properties attacks document-judges faults asan tsan valgrind coverage fuzz fleet-test fleet-lint mutants hostile format format-check tidy cppcheck \
  bench bench-python instructions growth docs deb deb-test sdist clean
.DEFAULT_GOAL := help

BUILD_PACKAGES = g++ cmake ninja-build pkg-config libcli11-dev nlohmann-json3-dev libgit2-dev \
  libacl1-dev libattr1-dev libutfcpp-dev libyaml-cpp-dev
DEMO_PACKAGES = $(BUILD_PACKAGES) nginx apache2-bin openssl
TEST_PACKAGES = $(BUILD_PACKAGES) clang lld googletest librapidcheck-dev patch locales \
  nginx libnginx-mod-stream libnginx-mod-mail libnginx-mod-http-lua \
  libnginx-mod-http-headers-more-filter libnginx-mod-http-brotli-filter \
  libnginx-mod-http-brotli-static apache2-bin openssl \
  libcurl4-openssl-dev abigail-tools acl strace mandoc bash fish zsh python3-jsonschema python3-certbot-nginx augeas-tools
BINDINGS_PACKAGES = $(TEST_PACKAGES) pybind11-dev python3-dev python3-pip python3-venv python3-setuptools \
  python3-wheel python3-pytest mypy libffi-platypus-perl php-cli php-mbstring
MUTANTS_PACKAGES = $(TEST_PACKAGES) python3-clang-14
FUZZ_PACKAGES = $(BUILD_PACKAGES) clang libclang-rt-14-dev
BENCH_PACKAGES = $(BUILD_PACKAGES) libbenchmark-dev nginx augeas-tools python3-certbot-nginx \
  python3-matplotlib $(if $(shell command -v npm),,nodejs npm)
DOCS_PACKAGES = mkdocs python3-pygments doxygen graphviz
CHECK_PACKAGES = $(BINDINGS_PACKAGES) clang-format clang-tidy
DEB_PACKAGES = $(BUILD_PACKAGES) dpkg-dev debhelper dh-python pybind11-dev python3-dev fakeroot lintian
DEB_TEST_PACKAGES = autopkgtest mmdebstrap

SOURCES = $(shell git ls-files '*.h' '*.c' '*.cpp')

help:
	@echo 'make demo          build, edit the example sites, show what changes, ask nginx and httpd'
	@echo 'make test          build with warnings as errors, run every test'
	@echo 'make bindings-test only the tests of the C interface and of the modules on it'
	@echo 'make abi           has the binary interface changed that is promised; make test asks, too'
	@echo 'make properties CASES=1000  try each property of the tests with so many new random inputs'
	@echo 'make attacks CASES=100000  try so many values that would leave their places, and ask the servers; in C and Python too'
	@echo 'make document-judges CASES=2000  have the servers judge so many damaged configurations of each'
	@echo 'make asan          the same tests under the sanitizers, with checked containers'
	@echo 'make faults        let each system call of an edit in place fail in every way (minutes)'
	@echo 'make tsan          the tests with threads under ThreadSanitizer'
	@echo 'make valgrind      some of the tests under memcheck'
	@echo 'make coverage      what of the library the tests run; the table and build/coverage/index.html'
	@echo 'make fuzz TIME=60  try each fuzz target for so many seconds'
	@echo 'make mutants COUNT=100  change the code of edits and updates in one place at a time; do tests notice'
	@echo 'make fleet-test    rename sites on eight hosts of this machine, by Ansible; as root'
	@echo 'make fleet-lint    have ansible-lint and ansible-test judge the collection for Ansible'
	@echo 'make hostile       what inputs of hostile sizes cost, in time and memory'
	@echo 'make format-check  see whether the sources are formatted; make format does it'
	@echo 'make tidy          run clang-tidy over the library, the program and the bindings'
	@echo 'make cppcheck      run cppcheck over everything'
	@echo 'make bench         time, memory and growth, beside other programs; QUICK=1 for a short run'
	@echo 'make instructions  has any fixed request or edit become slower by a tenth'
	@echo 'make growth        does any careful edit grow faster than its input; CACHES=1 for its cache misses'
	@echo 'make docs          the pages in docs/ and the headers as a site, build/docs/site/index.html'
	@echo 'make bench-python  what a request costs more from Python than in C++'
	@echo 'make sdist         pack the source distribution of the Python package, build/sdist/*.tar.gz'
	@echo 'make deb           build Debian packages, in build/deb, and run lintian over them'
	@echo 'make deb-test      install these in a fresh Debian, and try the program and the library there'
	@echo 'make clean         remove build/'

demo:
	cmake/install-packages.sh $(DEMO_PACKAGES)
	cmake --preset release -DQELTEMPLATE_BUILD_TESTS=OFF
	cmake --build --preset release
	examples/nginx/run.sh build/release/src/cli/qeltemplate
	examples/apache/run.sh build/release/src/cli/qeltemplate

# Debian's Python, whose packages the tests need, and not another one that PATH may have first.
WITH_BINDINGS = -DQELTEMPLATE_BUILD_TESTS=ON -DQELTEMPLATE_BUILD_BINDINGS=ON \
  -DPython_EXECUTABLE=/usr/bin/python3

test:
	cmake/install-packages.sh $(BINDINGS_PACKAGES)
	cmake --preset release $(WITH_BINDINGS)
	cmake --build --preset release
	ctest --preset release

bindings-test:
	cmake/install-packages.sh $(BINDINGS_PACKAGES)
	cmake --preset release $(WITH_BINDINGS)
	cmake --build --preset release --target bindings_tests
	ctest --preset release -R '^(Bindings[.]|EditCases[.]|C(Edit|Update|Interface|Golden|FailingMemory))'

# RENEW=1: writes what is promised from now on, at a release.
abi:
	cmake/install-packages.sh $(BINDINGS_PACKAGES)
	cmake --preset release $(WITH_BINDINGS)
	cmake --build --preset release --target $(if $(RENEW),write_abi,abi)
	ctest --preset release -R '^Abi[.]'

CASES = 1000
PROPERTY_TESTS = cli/cli_explain_test edit/edit_alike_test edit/edit_engine_test \
  edit/edit_laws_test model_test property_test sequence_test

properties:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset release -DQELTEMPLATE_BUILD_TESTS=ON
	cmake --build --preset release --target $(notdir $(PROPERTY_TESTS))
	for test in $(PROPERTY_TESTS); do \
	  SEED=$$(date +%s) CASES=$(CASES) RC_PARAMS=max_success=$(CASES) build/release/tests/$$test || exit 1; \
	done

attacks:
	cmake/install-packages.sh $(BINDINGS_PACKAGES)
	cmake --preset release $(WITH_BINDINGS)
	cmake --build --preset release --target edit_attack_test edit_attack_server_test c_cases_test \
	  qeltemplate_python
	SEED=$$(date +%s) CASES=$(CASES) build/release/tests/edit/edit_attack_server_test
	tests/edit/attack/replay.sh build/release $$(date +%s) $(CASES)

JUDGE_TESTS = nginx/document_nginx_mutants_test apache/document_apache_mutants_test

document-judges:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset release -DQELTEMPLATE_BUILD_TESTS=ON
	cmake --build --preset release --target $(notdir $(JUDGE_TESTS))
	for test in $(JUDGE_TESTS); do \
	  CASES=$(CASES) build/release/tests/document/$$test || exit 1; \
	done

# On the disk of TMPDIR.
faults:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset release -DQELTEMPLATE_BUILD_TESTS=ON
	cmake --build --preset release --target cli_failing_machine_test
	FAULTS=all build/release/tests/cli/cli_failing_machine_test

asan:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

# ThreadSanitizer needs addresses that are less random than some machines make them.
tsan:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset tsan
	cmake --build --preset tsan
	$$(setarch -R true 2>/dev/null && echo setarch -R) ctest --preset tsan

# The replaced operator new of failing_memory_test has to stay the one in use.
MEMCHECK = valgrind --quiet --error-exitcode=1 --leak-check=full --show-leak-kinds=all \
  --errors-for-leak-kinds=all --soname-synonyms=somalloc=nouserintercepts
MEMCHECK_TESTS = bytes_test failing_memory_test golden_test parser_template_test view_editing_test \
  c_edit_test c_failing_memory_test c_golden_test c_interface_test c_update_test
MEMCHECK_FUZZ_TARGETS = edits language request values

valgrind:
	cmake/install-packages.sh $(BINDINGS_PACKAGES) valgrind
	cmake --preset release $(WITH_BINDINGS)
	cmake --build --preset release --target $(MEMCHECK_TESTS) $(MEMCHECK_FUZZ_TARGETS:%=fuzz_%)
	for test in $(MEMCHECK_TESTS); do $(MEMCHECK) build/release/tests/$$test || exit 1; done
	cd build/release/tests/fuzz && for target in $(MEMCHECK_FUZZ_TARGETS); do \
	  $(MEMCHECK) ./fuzz_$$target seeds/$$target $(CURDIR)/tests/fuzz/regressions/$$target \
	    || exit 1; \
	done

# Branches: what cannot be reached is the compiler's, mostly for exceptions in the middle of a line, and
# a template's are counted for each type by itself.
GCOVR = gcovr --root . --exclude-throw-branches --exclude-unreachable-branches
LEAST_COVERED = --fail-under-line 100 --fail-under-branch 94

# Counts of an earlier build or run would be added to the new ones.
coverage:
	cmake/install-packages.sh $(TEST_PACKAGES) gcovr
	cmake --preset coverage
	cmake --build --preset coverage
	find build/coverage -name '*.gcda' -delete
	ctest --preset coverage
	$(GCOVR) --filter src/template/ --json build/coverage/counts.json build/coverage
	$(GCOVR) --add-tracefile build/coverage/counts.json --html-details build/coverage/index.html
	$(GCOVR) --add-tracefile build/coverage/counts.json --txt --branches
	$(GCOVR) --add-tracefile build/coverage/counts.json --txt $(LEAST_COVERED)

# Seconds for each target. What is found is left in build/fuzz; keep it in tests/fuzz/regressions.
TIME = 60
FUZZ_TARGETS = request edits language values values_file apply document_nginx document_apache

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

# Each change takes a moment, and a minute where no quick test notices. Others each time, unless SEED says
# which; ONLY is a regular expression for the lines of `mutants.py --list`.
COUNT = 100

mutants:
	cmake/install-packages.sh $(MUTANTS_PACKAGES)
	tests/mutants/mutants.py --count $(COUNT) $(if $(SEED),--seed $(SEED)) $(if $(ONLY),--only '$(ONLY)') \
	  build/mutants

FLEET_PACKAGES = $(BUILD_PACKAGES) libgit2-1.5 ansible-core openssh-server openssh-client nginx apache2 openssl \
  patch util-linux iproute2 python3

# ONLY is a regular expression for the names of tests.
fleet-test:
	cmake/install-packages.sh $(FLEET_PACKAGES)
	cmake --preset release
	cmake --build --preset release --target qeltemplate-cli
	tests/fleet/fleet.py $(if $(ONLY),--only '$(ONLY)') build/release/src/cli/qeltemplate

fleet-lint:
	cmake/install-packages.sh ansible-core ansible-lint git pycodestyle python3-voluptuous yamllint
	tests/fleet/lint.sh

hostile:
	cmake/install-packages.sh $(TEST_PACKAGES)
	cmake --preset release -DQELTEMPLATE_BUILD_TESTS=ON
	cmake --build --preset release --target hostile_sizes hostile_edits
	build/release/tests/hostile_sizes
	build/release/tests/hostile_edits

format:
	clang-format -i $(SOURCES)
	cmake/spdx.sh

format-check:
	cmake/install-packages.sh $(CHECK_PACKAGES)
	clang-format --dry-run --Werror $(SOURCES)
	cmake/spdx.sh --check

tidy:
	cmake/install-packages.sh $(CHECK_PACKAGES)
	cmake --preset release $(WITH_BINDINGS) -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
	printf '%s\n' $(filter src/%.cpp bindings/%.cpp,$(SOURCES)) | xargs -n 1 -P 2 clang-tidy -p build/release --quiet

cppcheck:
	cmake/install-packages.sh cppcheck
	cppcheck --quiet -j 2 --enable=warning,performance,portability,style --inline-suppr \
	  --suppressions-list=cmake/cppcheck-suppressions.txt --error-exitcode=1 --std=c++17 \
	  --language=c++ --library=googletest -UQELTEMPLATE_EAGER_INDEXES -I src -I tests $(filter %.cpp,$(SOURCES))

# A quick run leaves the kept results alone.
BENCH_RESULTS = $(if $(QUICK),build/bench/results,bench/results)

bench:
	cmake/install-packages.sh $(BENCH_PACKAGES)
	cmake --preset bench
	cmake --build --preset bench
	mkdir -p build/bench/peers
	cp bench/peers/package.json bench/peers/package-lock.json build/bench/peers/
	npm ci --prefix build/bench/peers --ignore-scripts --no-audit --no-fund
	bench/run.py $(if $(QUICK),--quick) build/bench $(BENCH_RESULTS)

# Counts instructions: as repeatable as a time is not.
instructions:
	cmake/install-packages.sh $(BUILD_PACKAGES) libbenchmark-dev valgrind python3
	cmake --preset bench
	cmake --build --preset bench --target one_request one_careful_edit write_sites qeltemplate-cli
	bench/instructions.py build/bench

growth:
	cmake/install-packages.sh $(BUILD_PACKAGES) libbenchmark-dev valgrind python3 $(if $(CACHES),python3-scipy)
	cmake --preset bench
	cmake --build --preset bench --target one_careful_edit
	$(if $(CACHES),bench/caches.py build/bench bench/results,bench/instructions.py --growth build/bench)

DOCS = build/docs/pages

docs:
	cmake/install-packages.sh $(DOCS_PACKAGES)
	for picture in docs/*.dot; do dot -Tsvg $$picture -o $${picture%.dot}.svg || exit 1; done
	rm -rf build/docs
	mkdir -p $(DOCS)
	git ls-files -z --cached --others --exclude-standard | xargs -0 cp --parents -t $(DOCS)
	doxygen docs/Doxyfile
	! grep -rlE 'QELTEMPLATE_[A-Z_]*(EXPORT|LOCAL)|QEL_(API|NOEXCEPT)' $(DOCS)/api
	pygmentize -S default -f html -a .codehilite > $(DOCS)/highlight.css
	mkdocs build --config-file docs/mkdocs.yml

bench-python:
	cmake/install-packages.sh $(BUILD_PACKAGES) libbenchmark-dev pybind11-dev python3-dev
	cmake --preset bench -DQELTEMPLATE_BUILD_BINDINGS=ON -DPython_EXECUTABLE=/usr/bin/python3
	cmake --build --preset bench --target cpp_request qeltemplate_python write_sites
	bench/python_request.py build/bench

# From a copy of the sources, as for the Debian packages.
SDIST = build/sdist/qeltemplate
sdist:
	cmake/install-packages.sh python3-setuptools python3-wheel
	rm -rf build/sdist
	mkdir -p $(SDIST)
	git ls-files -z | tar --null --files-from=- --create | tar --extract --directory $(SDIST)
	cd $(SDIST)/bindings/python && /usr/bin/python3 setup.py -q sdist --dist-dir "$(CURDIR)/build/sdist"

# From a copy of the sources, since a build leaves its files among them.
deb:
	cmake/install-packages.sh $(DEB_PACKAGES)
	rm -rf build/deb
	mkdir -p build/deb/qeltemplate
	git ls-files -z | tar --null --files-from=- --create | tar --extract --directory build/deb/qeltemplate
	cd build/deb/qeltemplate && dpkg-buildpackage --no-sign
	lintian --fail-on error,warning build/deb/*.changes

# As root. No service that comes with a package is started, and what CMake is told here is not told there.
BARE_DEBIAN = build/deb/bookworm
NO_SERVICES = printf "\#!/bin/sh\nexit 101\n" >"$$1/usr/sbin/policy-rc.d" && \
  chmod +x "$$1/usr/sbin/policy-rc.d"

deb-test:
	cmake/install-packages.sh $(DEB_TEST_PACKAGES)
	rm -rf $(BARE_DEBIAN)
	mmdebstrap --variant=minbase --include=apt-utils,dpkg-dev --customize-hook='$(NO_SERVICES)' \
	  bookworm $(BARE_DEBIAN)
	env -u CMAKE_C_COMPILER_LAUNCHER -u CMAKE_CXX_COMPILER_LAUNCHER \
	  autopkgtest --apt-upgrade build/deb/*.changes -- chroot $(CURDIR)/$(BARE_DEBIAN)

clean:
	rm -rf build
