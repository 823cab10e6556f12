"""Holds src/edges.txt against the sources below the folder ROOT: every include has its edge, every edge its include."""
import pathlib
import re
import sys

ROOT = pathlib.Path(sys.argv[1])
EDGES = "src/edges.txt"
INCLUDE = re.compile(r'\s*#\s*include\s+(["<])([^">]+)')
SYSTEM_TEST = re.compile(r"\s*#\s*(?:if|ifdef|ifndef|elif)\b.*(?:_WIN(?:32|64)|__linux|__unix|__APPLE|_MSC_VER|__MINGW)")
CXX_LIBRARY = set("""
    algorithm any array atomic barrier bit bitset cctype cerrno cfenv cfloat charconv chrono climits clocale cmath codecvt
    compare complex concepts condition_variable coroutine csetjmp csignal cstdarg cstddef cstdint cstdio cstdlib cstring ctime
    cuchar cwchar cwctype deque exception execution filesystem format forward_list fstream functional future
    initializer_list iomanip ios iosfwd iostream istream iterator latch limits list locale map memory memory_resource mutex
    new numbers numeric optional ostream queue random ranges ratio regex scoped_allocator semaphore set shared_mutex
    source_location span sstream stack stdexcept stop_token streambuf string string_view syncstream system_error thread
    tuple type_traits typeindex typeinfo unordered_map unordered_set utility valarray variant vector version
""".split())


def read_edges():
    """Folder to the line and the names behind it."""
    edges = {}
    for number, line in enumerate((ROOT / EDGES).read_text(encoding="utf-8").splitlines(), 1):
        if line and not line.startswith("#"):
            folder, _, others = line.partition(":")
            edges[folder] = (number, others.split())
    return edges


def wanted_edges():
    """For every line that needs an edge: its file and number, its folder and what that goes to."""
    for top in ("src", "include"):
        for path in sorted((ROOT / top).rglob("*")):
            if path.suffix not in (".h", ".hpp", ".cpp"):
                continue
            folder = path.parent.relative_to(ROOT / top).as_posix()
            for number, line in enumerate(path.read_text(encoding="utf-8").splitlines(), 1):
                place = f"{path.relative_to(ROOT)}:{number}"
                include = INCLUDE.match(line)
                if include and include[1] == '"':
                    yield place, folder, pathlib.PurePosixPath(include[2]).parent.as_posix()
                elif SYSTEM_TEST.match(line) or (include and include[2] not in CXX_LIBRARY):
                    yield place, folder, "system"


def main():
    edges = read_edges()
    unused = {(folder, other) for folder, (_, others) in edges.items() for other in others}
    faults = []
    for place, folder, other in wanted_edges():
        if other != folder and other not in edges.get(folder, (0, []))[1]:
            faults.append(f"{place}: {folder} may not include {other}")
        unused.discard((folder, other))
    faults += [f"{EDGES}:{edges[folder][0]}: {folder} includes nothing of {other}" for folder, other in sorted(unused)]
    print("\n".join(faults) or "every include has its edge, every edge its include")
    return bool(faults)


if __name__ == "__main__":
    sys.exit(main())
