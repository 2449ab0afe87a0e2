"""A demo instance served by lighttpd and Debian's headless Chromium driven
by Selenium: what the web player's tests and its benchmark stand on.

The instance is made and served by scripts/demo (in a folder and on a port
of the caller's own) and stopped by its process id."""
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
import urllib.request

from selenium import webdriver
from selenium.common.exceptions import StaleElementReferenceException
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.support.ui import WebDriverWait

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))

# Without the flags that keep Chromium from calling home, its own
# connections are refused on this machine and slow every start.
CHROMIUM_FLAGS = [
    '--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
    '--disable-background-networking', '--disable-component-update', '--disable-sync',
    '--disable-dev-shm-usage', '--autoplay-policy=no-user-gesture-required', '--mute-audio',
]


def free_port():
    with socket.socket() as s:
        s.bind(('127.0.0.1', 0))
        return s.getsockname()[1]


class Demo:
    """scripts/demo in DIR on a free port of 127.0.0.1."""

    def __init__(self, directory, build_dir):
        self.directory = directory
        self.port = free_port()
        self.base = f'http://127.0.0.1:{self.port}/'
        env = dict(os.environ, DEMO_DIR=directory, PORT=str(self.port), CANTORA_DEMO_NO_BUILD='1')
        os.makedirs(directory, exist_ok=True)
        self.log_path = os.path.join(directory, 'demo.log')
        self.log = open(self.log_path, 'w')
        self.process = subprocess.Popen([os.path.join(TOP, 'scripts', 'demo')], env=env, cwd=TOP,
                                        stdout=self.log, stderr=subprocess.STDOUT,
                                        stdin=subprocess.DEVNULL, start_new_session=False)
        self.wait_up()

    def wait_up(self, seconds=600):
        deadline = time.time() + seconds
        while time.time() < deadline:
            if self.process.poll() is not None:
                raise RuntimeError(f'scripts/demo ended early:\n{open(self.log_path).read()[-3000:]}')
            try:
                with urllib.request.urlopen(self.base, timeout=2) as r:
                    if r.status == 200:
                        return
            except OSError:
                pass
            time.sleep(0.5)
        raise RuntimeError('the demo did not come up')

    def stop(self):
        # scripts/demo stops its lighttpd when it is asked to end.
        if self.process.poll() is None:
            self.process.send_signal(signal.SIGTERM)
            try:
                self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.process.kill()
                self.process.wait()
        pidfile = os.path.join(self.directory, 'run', 'lighttpd.pid')
        if os.path.exists(pidfile):
            try:
                os.kill(int(open(pidfile).read().strip()), signal.SIGTERM)
            except (ValueError, ProcessLookupError):
                pass
        self.log.close()


class Browser:
    """A fresh headless Chromium with its performance log on (the network
    events tell the status of each answer)."""

    def __init__(self, width=1280, height=860):
        self.profile = tempfile.mkdtemp(prefix='cantora-chromium-')
        options = webdriver.ChromeOptions()
        options.binary_location = '/usr/bin/chromium'
        for flag in CHROMIUM_FLAGS:
            options.add_argument(flag)
        options.add_argument(f'--user-data-dir={self.profile}')
        options.add_argument(f'--window-size={width},{height}')
        options.set_capability('goog:loggingPrefs', {'performance': 'ALL', 'browser': 'ALL'})
        self.driver = webdriver.Chrome(service=Service('/usr/bin/chromedriver'), options=options)
        self.driver.set_script_timeout(30)
        self.responses = []

    def wait(self, condition, seconds=15, message=''):
        # A screen may be drawn again while it is looked at (search as you
        # type): an element gone stale means "look again".
        return WebDriverWait(self.driver, seconds, poll_frequency=0.1,
                             ignored_exceptions=(StaleElementReferenceException,)).until(condition, message)

    def js(self, script, *args):
        return self.driver.execute_script(script, *args)

    def viewport(self, width, height, mobile=False):
        self.driver.execute_cdp_cmd('Emulation.setDeviceMetricsOverride', {
            'width': width, 'height': height, 'deviceScaleFactor': 1, 'mobile': mobile})

    def network(self):
        """Every answer received so far: [{url, status, headers}]."""
        for entry in self.driver.get_log('performance'):
            message = json.loads(entry['message'])['message']
            if message.get('method') == 'Network.responseReceived':
                r = message['params']['response']
                self.responses.append({'url': r['url'], 'status': r['status'],
                                       'headers': {k.lower(): v for k, v in r['headers'].items()}})
        return self.responses

    def quit(self):
        try:
            self.driver.quit()
        finally:
            shutil.rmtree(self.profile, ignore_errors=True)


def sign_in(browser, base, account='demo', password='demo', lang='en'):
    from selenium.webdriver.common.by import By
    from selenium.webdriver.support.ui import Select
    d = browser.driver
    d.get(base)
    browser.wait(lambda d: d.find_element(By.ID, 'signin-form').is_displayed(), message='sign-in form')
    d.find_element(By.ID, 'signin-account').send_keys(account)
    d.find_element(By.ID, 'signin-password').send_keys(password)
    Select(d.find_element(By.ID, 'signin-lang')).select_by_value(lang)
    d.find_element(By.ID, 'signin-submit').click()
    browser.wait(lambda d: d.find_element(By.ID, 'app').is_displayed(), message='signed in')
