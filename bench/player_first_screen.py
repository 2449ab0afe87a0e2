#!/usr/bin/env python3
"""The web player's first screen in headless Chromium: signed in, the grid
of all albums with 100 covers in view (a window tall enough to show them).

Makes a demo instance in DIR (default build/bench-player) with 100 more
albums, each with a picture of its own (cantora-fixture synthetic), serves
it with lighttpd on 127.0.0.1 and loads the page RUNS times with the
browser's cache off. Prints, per run and as medians:
  interactive  the grid is built and the page answers input (the page's
               mark 'cantora-interactive', from the start of navigation)
  covers       the last of the first 100 covers has arrived
The first run is the browser's first load of the page, and on a new
instance it also has the covers scaled (the gateway's cover cache is
empty); it is left out of the medians.
Target: interactive within 1 s.
Usage: bench/player_first_screen.py [--runs N] [--dir DIR] [--build BUILD]"""
import argparse
import os
import statistics
import subprocess
import sys

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path.insert(0, os.path.join(TOP, 'tests', 'browser'))
from browser import Browser, Demo, sign_in  # noqa: E402

SYNTHETIC_SONGS = 2000  # the first 5,000 synthetic songs are albums of 20


def admin(build, directory, *args):
    env = dict(os.environ, CANTORA_CONFIG=os.path.join(directory, 'instance', 'cantora.conf'))
    subprocess.run([os.path.join(build, 'bin', 'cantora-admin'), *args], env=env, check=True,
                   stdout=subprocess.DEVNULL)


def prepare(build, directory):
    """The demo instance plus a folder of 100 synthetic albums."""
    music = os.path.join(directory, 'instance', 'albums')
    if os.path.isdir(music):
        return
    Demo(directory, build).stop()  # makes the instance
    subprocess.run([os.path.join(build, 'bin', 'cantora-fixture'), 'synthetic', music, str(SYNTHETIC_SONGS)],
                   check=True, stdout=subprocess.DEVNULL)
    admin(build, directory, 'folder', 'add', music, '--name', 'Albums')
    admin(build, directory, 'index')


def measure(browser, base):
    d = browser.driver
    d.get('about:blank')
    d.get(base + '#/albums')
    browser.wait(lambda d: d.execute_script('return document.documentElement.dataset.ready === "true"'), 20)
    browser.wait(lambda d: d.execute_script(
        "return performance.getEntriesByType('resource')"
        ".filter((e) => e.name.includes('get_cover_for_album')).length >= 100"), 30)
    return d.execute_script("""
      const mark = performance.getEntriesByName('cantora-interactive')[0];
      const covers = performance.getEntriesByType('resource')
        .filter((e) => e.name.includes('get_cover_for_album')).slice(0, 100);
      return { interactive: mark.startTime, covers: Math.max(...covers.map((e) => e.responseEnd)),
               cards: document.querySelectorAll('.grid .card').length };""")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument('--runs', type=int, default=7)
    parser.add_argument('--build', default=os.path.join(TOP, 'build'))
    parser.add_argument('--dir', default=None)
    args = parser.parse_args()
    build = os.path.abspath(args.build)
    directory = os.path.abspath(args.dir or os.path.join(build, 'bench-player'))
    prepare(build, directory)
    demo = Demo(directory, build)
    browser = None
    try:
        browser = Browser(width=1280, height=3800)
        sign_in(browser, demo.base)
        browser.driver.execute_cdp_cmd('Network.enable', {})
        browser.driver.execute_cdp_cmd('Network.setCacheDisabled', {'cacheDisabled': True})
        results = []
        for run in range(args.runs + 1):
            r = measure(browser, demo.base)
            label = 'first' if run == 0 else f'run {run}'
            print(f'{label:>6}: interactive {r["interactive"]:7.1f} ms   100 covers {r["covers"]:7.1f} ms'
                  f'   ({r["cards"]} albums)')
            if run:
                results.append(r)
        inter = statistics.median(r['interactive'] for r in results)
        covers = statistics.median(r['covers'] for r in results)
        print(f'median: interactive {inter:.1f} ms (target 1000 ms)   100 covers {covers:.1f} ms')
    finally:
        if browser:
            browser.quit()
        demo.stop()


if __name__ == '__main__':
    main()
