# Front door for the usual tasks; each one installs what it needs first.
#   make demo       render the gallery of generators into ./out
#   make fork-demo  the smaller fork demonstration
#   make fft-demo   FFT convolution through FFTW 2 and the spectral multiply
#   make test       the whole suite: gcc build, clang with ASan+UBSan, TSan on the threaded tests
#   make bench      benchmarks with their ratio tables
#   make format     clang-format every source file

SOURCES = $(shell git ls-files '*.h' '*.cpp' 2>/dev/null)

.PHONY: deps demo fork-demo fft-demo test test-default test-asan test-tsan format-check bench format clean

deps:
	@bash scripts/install-deps.sh

demo: deps
	cmake --preset default
	cmake --build --preset default --target vxdemo
	./build/default/demo/vxdemo

fork-demo: deps
	cmake --preset default
	cmake --build --preset default --target forkDemo
	./build/default/examples/forkDemo

fft-demo: deps
	cmake --preset default
	cmake --build --preset default --target fftConvolveDemo
	./build/default/examples/fftConvolveDemo

test: deps format-check test-default test-asan test-tsan

test-default:
	cmake --preset default
	cmake --build --preset default
	ctest --preset default

test-asan:
	cmake --preset asan
	cmake --build --preset asan
	ctest --preset asan

test-tsan:
	cmake --preset tsan
	cmake --build --preset tsan
	ctest --preset tsan

format-check:
	clang-format --dry-run -Werror $(SOURCES)

bench: deps
	cmake --preset default
	cmake --build --preset default --target forkBench heapBench imageBench noiseBench colourBench maskBench matrixBench fourierBench widgetBench
	./build/default/bench/forkBench
	./build/default/bench/heapBench
	./build/default/bench/imageBench
	./build/default/bench/noiseBench
	./build/default/bench/colourBench
	./build/default/bench/maskBench
	./build/default/bench/matrixBench
	./build/default/bench/fourierBench
	./build/default/bench/widgetBench

format:
	clang-format -i $(SOURCES)

clean:
	rm -rf build
