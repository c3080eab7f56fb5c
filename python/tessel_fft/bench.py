"""tessel_fft beside scipy.fft (one worker and all) and numpy.fft, in one process, on the cases of
tessel-fft-bench that a numpy user meets, small calls whose time is mostly the Python layer's, and N-D
transforms. Run: python3 -m tessel_fft.bench [--runs N] [--quick].

Each case is a numpy array in C order; the column-major shape of tessel-fft-bench is its reversed shape.
Every side is called once before timing (plans made, caches warm), then the sides alternate and the
median of each is reported; a call shorter than a millisecond is timed over enough repetitions to take
about one. The ratio is ours / scipy.fft with all workers: below 1 we are faster. The fftconvolve case
runs scipy.signal.fftconvolve with tessel_fft.scipy_backend as its scipy.fft backend (ours) and without
(scipy, under scipy.fft.set_workers).

A second table times small calls from two Python threads at once against one thread making them all:
the same number of calls, so that a ratio above 1 is time lost to the threads' contention.
"""
import argparse
import os
import platform
import statistics
import threading
import time

import numpy as np
import scipy.fft
import scipy.signal

import tessel_fft


def _cpu_model():
    try:
        with open("/proc/cpuinfo") as cpuinfo:
            for line in cpuinfo:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return platform.processor() or "unknown CPU"


def _complex(rng, shape, dtype=np.complex128):
    return (rng.standard_normal(shape) + 1j * rng.standard_normal(shape)).astype(dtype)


# name, column-major shape as in tessel-fft-bench, function name, input maker, keyword arguments.
def _cases(rng):
    return [
        ("strided-c2c-inv (100 x 4096 x 20)", "ifft", _complex(rng, (20, 4096, 100)), {"axis": 1}),
        ("strided-c2c-inv-f32 (100 x 4096 x 20)", "ifft",
         _complex(rng, (20, 4096, 100), np.complex64), {"axis": 1}),
        ("c2c-n1024 (1024 x 10000)", "fft", _complex(rng, (10000, 1024)), {"axis": -1}),
        ("c2c-n64 (64 x 100000)", "fft", _complex(rng, (100000, 64)), {"axis": -1}),
        ("rfft (4096 x 2000)", "rfft", rng.standard_normal((2000, 4096)), {"axis": -1}),
        ("irfft (4096 x 2000)", "irfft", _complex(rng, (2000, 2049)), {"axis": -1, "n": 4096}),
        ("c2c-long (1048576 x 1)", "fft", _complex(rng, (1 << 20,)), {}),
        ("dct2-strided (64 x 1024 x 64)", "dct", rng.standard_normal((64, 1024, 64)), {"axis": 1}),
        ("dst4-strided-inv (64 x 1024 x 64)", "idst", rng.standard_normal((64, 1024, 64)),
         {"axis": 1, "type": 4}),
        ("dctn-2d (1024 x 1024)", "dctn", rng.standard_normal((1024, 1024)), {}),
        ("dctn-3d (128 x 128 x 128)", "dctn", rng.standard_normal((128, 128, 128)), {}),
        # Small calls: at most 4 KiB each, where the cost per call is the Python layer's and the call's.
        ("small-c2c (64 x 8)", "fft", _complex(rng, (8, 64)), {}),
        ("small-c2c-inv-ortho (256)", "ifft", _complex(rng, (256,)), {"norm": "ortho"}),
        ("small-rfft (512)", "rfft", rng.standard_normal(512), {}),
        ("small-irfft (129 x 2)", "irfft", _complex(rng, (2, 129)), {}),
        ("small-dct2 (16 x 16)", "dct", rng.standard_normal((16, 16)), {}),
        ("small-fft2 (16 x 16)", "fft2", _complex(rng, (16, 16)), {}),
        ("small-dctn (16 x 16)", "dctn", rng.standard_normal((16, 16)), {}),
        ("small-c2c-strided-forward (8 x 64)", "fft", _complex(rng, (64, 8)), {"axis": 0, "norm": "forward"}),
        ("small-hfft (129 x 2)", "hfft", _complex(rng, (2, 129)), {}),
        ("small-dct2-inv-ortho (16 x 16)", "idct", rng.standard_normal((16, 16)), {"norm": "ortho"}),
        ("small-dst1 (16 x 16)", "dst", rng.standard_normal((16, 16)), {"type": 1}),
        ("small-dstn (16 x 16)", "dstn", rng.standard_normal((16, 16)), {}),
        ("small-rfftn (16 x 16)", "rfftn", rng.standard_normal((16, 16)), {}),
        # N-D FFTs.
        ("rfftn-2d (2048 x 2048)", "rfftn", rng.standard_normal((2048, 2048)), {}),
        ("fftn-3d (256 x 256 x 256)", "fftn", _complex(rng, (256, 256, 256)), {}),
        ("fftconvolve (2048 x 2048, 64 x 64)", "fftconvolve",
         (rng.standard_normal((2048, 2048)), rng.standard_normal((64, 64))), {}),
    ]


def _fftconvolve(backend, workers):
    """scipy.signal.fftconvolve through a scipy.fft backend, on `workers` threads."""
    def call(pair, **kwargs):
        with scipy.fft.set_backend(backend, only=True), scipy.fft.set_workers(workers):
            return scipy.signal.fftconvolve(*pair, **kwargs)
    return call


def _sides(function):
    """(ours, scipy.fft, numpy.fft or None), each called as side(x, workers, **kwargs)."""
    if function == "fftconvolve":
        return (lambda x, workers, **k: _fftconvolve(tessel_fft.scipy_backend, workers)(x, **k),
                lambda x, workers, **k: _fftconvolve("scipy", workers)(x, **k), None)
    ours, theirs = getattr(tessel_fft, function), getattr(scipy.fft, function)
    numpy_fn = getattr(np.fft, function, None)
    return (lambda x, workers, **k: ours(x, workers=workers, **k),
            lambda x, workers, **k: theirs(x, workers=workers, **k),
            None if numpy_fn is None else lambda x, workers, **k: numpy_fn(x, **k))


def _format(ms):
    return f"{ms * 1e3:.1f} us" if ms < 0.1 else f"{ms:.2f} ms"


def _median_ms(calls, runs):
    """Alternates the calls `runs` times after one warm-up each; the median of each, in ms. A call
    shorter than a millisecond is repeated within each run, so that the clock's resolution and the
    timing loop do not count."""
    repeats = {}
    for name, call in calls.items():
        start = time.perf_counter()
        call()
        repeats[name] = max(1, min(10000, int(1e-3 / max(time.perf_counter() - start, 1e-7))))
    times = {name: [] for name in calls}
    for _ in range(runs):
        for name, call in calls.items():
            count = repeats[name]
            start = time.perf_counter()
            for _ in range(count):
                call()
            times[name].append((time.perf_counter() - start) * 1e3 / count)
    return {name: statistics.median(values) for name, values in times.items()}


def _thread_runs(call, calls, runs):
    """(one, two): `runs` times each, alternating, in ms: one thread making `calls` calls, and two threads
    making half of them each at once."""
    def work(count):
        for _ in range(count):
            call()

    one, two = [], []
    for _ in range(runs):
        start = time.perf_counter()
        work(calls)
        one.append((time.perf_counter() - start) * 1e3)
        threads = [threading.Thread(target=work, args=(calls // 2,)) for _ in range(2)]
        start = time.perf_counter()
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        two.append((time.perf_counter() - start) * 1e3)
    return one, two


def _two_threads(rng, runs):
    cases = [("small-c2c (64 x 8)", "fft", _complex(rng, (8, 64))),
             ("small-dct2 (16 x 16)", "dct", rng.standard_normal((16, 16)))]
    print()
    print("| two Python threads, 8000 calls | side | one thread, median | two threads, median | two threads, "
          "max | two / one |")
    print("|:--|:--|--:|--:|--:|--:|")
    for name, function, x in cases:
        for side, module in (("ours", tessel_fft), ("scipy", scipy.fft)):
            call = getattr(module, function)
            call(x)
            one, two = _thread_runs(lambda: call(x), 8000, runs)
            print(f"| {name} | {side} | {statistics.median(one):.1f} ms | {statistics.median(two):.1f} ms "
                  f"| {max(two):.1f} ms | {statistics.median(two) / statistics.median(one):.2f} |", flush=True)


def main(argv=None):
    parser = argparse.ArgumentParser(prog="python3 -m tessel_fft.bench", description=__doc__.split("\n")[0])
    parser.add_argument("--runs", type=int, default=15, help="timed calls per side (default 15)")
    parser.add_argument("--quick", action="store_true", help="3 runs: a smoke test, timings not meaningful")
    parser.add_argument("--case", action="append",
                        help="run only cases whose name starts with this (two-threads: the second table)")
    parser.add_argument("--planner", default="measure", choices=("estimate", "measure", "hybrid"),
                        help="how tessel_fft plans (default measure, as tessel-fft-bench; the package's "
                        "own default is estimate)")
    args = parser.parse_args(argv)
    runs = 3 if args.quick else args.runs
    cpus = os.cpu_count() or 1
    tessel_fft.set_planner(args.planner)
    rng = np.random.default_rng(7)

    print(f"tessel_fft.bench on {_cpu_model()}: tessel_fft {tessel_fft.library_version()} "
          f"({tessel_fft.fftw_version()}, planner {args.planner}), scipy {scipy.__version__}, "
          f"numpy {np.__version__}, {cpus} worker(s) for 'all', median of {runs} runs"
          + (" [--quick: timings not meaningful]" if args.quick else ""))
    print()
    print("| case | function | ours, 1 | ours, all | scipy, 1 | scipy, all | numpy | ours all / scipy all "
          "| rel. L2 error |")
    print("|:--|:--|--:|--:|--:|--:|--:|--:|--:|")
    for name, function, x, kwargs in _cases(rng):
        if args.case and not any(name.startswith(prefix) for prefix in args.case):
            continue
        ours, theirs, numpy_fn = _sides(function)
        calls = {
            "ours1": lambda: ours(x, 1, **kwargs),
            "oursall": lambda: ours(x, cpus, **kwargs),
            "scipy1": lambda: theirs(x, 1, **kwargs),
            "scipyall": lambda: theirs(x, cpus, **kwargs),
        }
        if numpy_fn is not None:
            calls["numpy"] = lambda: numpy_fn(x, None, **kwargs)
        reference, result = theirs(x, cpus, **kwargs), ours(x, cpus, **kwargs)
        error = np.linalg.norm(result - reference) / max(np.linalg.norm(reference), 1e-300)
        del reference, result
        ms = _median_ms(calls, runs)
        numpy_ms = _format(ms["numpy"]) if "numpy" in ms else "-"
        print(f"| {name} | {function} | {_format(ms['ours1'])} | {_format(ms['oursall'])} "
              f"| {_format(ms['scipy1'])} | {_format(ms['scipyall'])} | {numpy_ms} "
              f"| {ms['oursall'] / ms['scipyall']:.2f} | {error:.1e} |", flush=True)
    if not args.case or any("two-threads".startswith(prefix) for prefix in args.case):
        _two_threads(rng, max(runs, 8) if not args.quick else runs)


if __name__ == "__main__":
    main()
