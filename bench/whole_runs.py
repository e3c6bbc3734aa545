#!/usr/bin/env python3
"""Whole runs of vorn_stat against a real vornd, beside the floor client in the same session.

usage: bench/whole_runs.py BUILD_FOLDER [--sizes 1,1000,20000] [--runs N]

The resources are registered anew for each size, in a registry below $TMPDIR (else /tmp): a folder in
memory makes that quicker and changes nothing that is measured.

Prints one table: for each number of resources and each layout the median time of the command and of
the floor, their ratio, the reply's size, the peak memory and its ratio to the reply's size.
"""
import argparse
import grp
import json
import os
import pathlib
import signal
import socket
import statistics
import struct
import subprocess
import sys
import tempfile

ROUNDS = 10
LAYOUTS = {'default': ([], []), '-t': (['-t'], ['table']), '-ls': (['-ls'], ['list'])}


def profile(number):
    """Sized so that the default listing of 20,000 comes near the largest frame, 5 MiB."""
    name = f'app.{number:05d}'
    node = f'node{number % 3}'
    return name, (f'NAME={name}\nTYPE=application\nCURRENT_RCOUNT=0\nRESTART_ATTEMPTS=5\n'
                  f'FAILURE_THRESHOLD=3\nTARGET@{node}=ONLINE\nSTATE@{node}=ONLINE\n'
                  f'ACL=owner:root:rwx,pgrp:root:r-x,other::r--\n')


def lay_out(build, folder, count):
    """A node whose registry holds so many resources."""
    (folder / 'run').mkdir()
    conf = folder / 'node.conf'
    conf.write_text('node_name = node0\nnode_number = 0\nnodes = 0:node0, 1:node1, 2:node2\n'
                    'runtime_dir = run\nlog_dir = log\n'
                    'cluster_registry = dir:zks\nlocal_registry = dir:zkl\n')
    env = dict(os.environ, ZEL_VORN_HOME=str(build / 'home'), VORN_NODE_CONF=str(conf), LC_ALL='C')
    names = []
    for number in range(count):
        name, text = profile(number)
        (folder / name).write_text(text)
        names.append(name)
    for arguments in (['init'], ['register', *names]):
        subprocess.run([build / 'bin' / 'vornreg', *arguments], env=env, cwd=folder, check=True)
    for name in names:
        (folder / name).unlink()
    return env


def measured_frame(endpoint, request):
    with socket.socket(socket.AF_UNIX) as link:
        link.connect(endpoint)
        link.sendall(request)
        return struct.unpack('<I', link.recv(4, socket.MSG_WAITALL))[0]


def request_bytes(floor, group, form, folder):
    """The floor client's own request, taken from it through a listening socket."""
    path = str(folder / 'tap')
    with socket.socket(socket.AF_UNIX) as tap:
        tap.bind(path)
        tap.listen(1)
        client = subprocess.Popen([floor, path, group, '0', *form], stderr=subprocess.DEVNULL)
        link, _ = tap.accept()
        with link:
            size = struct.unpack('<I', link.recv(4, socket.MSG_PEEK | socket.MSG_WAITALL))[0]
            request = link.recv(size, socket.MSG_WAITALL)
        client.wait()
    os.unlink(path)
    return request


def peak_memory(command, env):
    """Peak resident memory of one run in bytes, as time(1) tells it: a child forked from here would
    be charged with the interpreter's own memory."""
    run = subprocess.run(['/usr/bin/time', '-f', '%M', *command], env=env, check=True,
                         stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
    return int(run.stderr.split()[-1]) * 1024


def medians(commands, env, folder, runs):
    """The commands take turns in short rounds: other work on the machine then hits all alike."""
    out = folder / 'times.json'
    times = [[] for _ in commands]
    for _ in range(ROUNDS):
        subprocess.run(['hyperfine', '-N', '--warmup', '1', '--runs', str(max(2, runs // ROUNDS)),
                        '--style', 'none', '--export-json', str(out), *commands],
                       env=env, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        for own, result in zip(times, json.loads(out.read_text())['results']):
            own.extend(result['times'])
    return [statistics.median(own) * 1000 for own in times]


def measure(build, count, runs):
    rows = []
    stat, floor = str(build / 'bin' / 'vorn_stat'), str(build / 'bench' / 'floor_client')
    with tempfile.TemporaryDirectory(prefix='vorn-bench.') as name:
        folder = pathlib.Path(name)
        env = lay_out(build, folder, count)
        daemon = subprocess.Popen([str(build / 'bin' / 'vornd')], env=env, stdout=subprocess.PIPE)
        try:
            assert b'serving' in daemon.stdout.readline()
            endpoint = str(folder / 'run' / 'VORND_UI_SOCKET.node0')
            group = grp.getgrgid(os.getegid()).gr_name
            for layout, (options, form) in LAYOUTS.items():
                command = [stat, *options]
                printed = len(subprocess.run(command, env=env, capture_output=True, check=True).stdout)
                frame = measured_frame(endpoint, request_bytes(floor, group, form, folder))
                floor_command = ' '.join([floor, endpoint, group, str(printed), *form])
                own, least = medians([' '.join(command), floor_command], env, folder, runs)
                rows.append((count, layout, own, least, frame, printed, peak_memory(command, env)))
        finally:
            daemon.send_signal(signal.SIGTERM)
            daemon.wait()
    return rows


def main():
    parser = argparse.ArgumentParser(description=__doc__.split('\n', maxsplit=1)[0])
    parser.add_argument('build', type=pathlib.Path)
    parser.add_argument('--sizes', default='1,1000,20000')
    parser.add_argument('--runs', type=int, default=100)
    arguments = parser.parse_args()
    build = arguments.build.resolve()
    print(f'{"resources":>9} {"layout":8} {"command ms":>10} {"floor ms":>9} {"ratio":>6} '
          f'{"us/res":>7} {"reply B":>9} {"printed B":>9} {"peak KiB":>9} {"peak/reply":>10}')
    for count in (int(size) for size in arguments.sizes.split(',')):
        for row in measure(build, count, arguments.runs):
            number, layout, own, least, frame, printed, peak = row
            print(f'{number:9} {layout:8} {own:10.2f} {least:9.2f} {own / least:6.2f} '
                  f'{own * 1000 / number:7.2f} {frame:9} {printed:9} {peak // 1024:9} '
                  f'{peak / frame:10.2f}')


if __name__ == '__main__':
    sys.exit(main())
