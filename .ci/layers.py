#!/usr/bin/env python3
"""Proves the floors: an include points down or along, never up. Prints offenders; exit 1 if any."""
import os
import re
import subprocess
import sys

# First match wins; lowest floor 1.
FLOORS = [
    (r'platform/', 1),
    (r'cppgen/cls(Log|Tint)', 2),
    (r'tav/msg/(TavLogger|EventMgr)', 8),
    (r'tav/msg/', 3),
    (r'cppgen/', 4),
    (r'tav/cluster/', 5),
    (r'tav/registry/', 6),
    (r'tav/comm/', 7),
    (r'evm/', 7),
    (r'tav/ui/cmd/', 9),
    (r'(daemons|tools)/', 10),
]
# Folders outside the floors may include anything.
FREE = re.compile(r'(tests|fuzz|bench)/')
# The core reaches the system through platform/ only: no headers of the operating system.
CORE = re.compile(r'(tav|evm|cppgen)/')
SYSTEM = re.compile(r'<(sys/|linux/|unistd|fcntl|poll|pwd|grp|nl_types|execinfo|dlfcn|spawn|signal\.h)')


def floor(path):
    for pattern, number in FLOORS:
        if re.match(pattern, path):
            return number
    return None


def check(path):
    faults = []
    mine = floor(path)
    for number, line in enumerate(open(path, encoding='utf-8', errors='replace'), 1):
        include = re.match(r'\s*#\s*include\s+(?:"([^"]+)"|(<[^>]+>))', line)
        if not include:
            continue
        local, system = include.groups()
        if system:
            if CORE.match(path) and SYSTEM.match(system):
                faults.append(f'{path}:{number}: the core includes {system}')
            continue
        if not os.path.exists(local):
            faults.append(f'{path}:{number}: {local} is not named from the root of the tree')
            continue
        if local.startswith('platform/local/') and not path.startswith('platform/'):
            faults.append(f'{path}:{number}: {local} is inside the platform')
        target = floor(local)
        if target is None or target > mine:
            faults.append(f'{path}:{number}: floor {mine} includes {local} of floor {target}')
    return faults


def main():
    files = subprocess.run(['git', 'ls-files', '-co', '--exclude-standard', '*.h', '*.cpp'],
                           capture_output=True, text=True, check=True).stdout.split()
    faults = []
    for path in files:
        if FREE.match(path) or not os.path.exists(path):
            continue
        if floor(path) is None:
            faults.append(f'{path}: stands on no floor')
            continue
        faults += check(path)
    print('\n'.join(faults) if faults else f'layers: {len(files)} files, every include points down or along')
    return 1 if faults else 0


if __name__ == '__main__':
    sys.exit(main())
