"""The shared library exports the public operations and nothing else.
usage: exports.py LIBRARY HEADER"""
import re
import subprocess
import sys

library, header = sys.argv[1:]
text = open(header, encoding='utf-8').read()
declared = set(re.findall(r'EVM_API [^;(]*?\b(Evm\w+)\(', text))
listing = subprocess.run(['nm', '-D', '--defined-only', '-P', library], capture_output=True,
                         text=True, check=True).stdout
exported = {line.split()[0].split('@')[0] for line in listing.splitlines()}
missing, foreign = declared - exported, exported - declared
print(f'{len(exported)} exported; missing: {sorted(missing)}; not declared: {sorted(foreign)}')
sys.exit(1 if missing or foreign or len(declared) < 60 else 0)
