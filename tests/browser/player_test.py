"""The web player in a real browser: headless Chromium against a demo
instance served by lighttpd on 127.0.0.1.

Usage: player_test.py BUILD_DIR   (screenshots land in BUILD_DIR/screenshots)
The steps run in order (test_01 ... test_14), one browser for all of them,
as a person would go through the player."""
import os
import sys
import time
import unittest
import urllib.request

from selenium.common.exceptions import NoAlertPresentException
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from browser import Browser, Demo, sign_in  # noqa: E402

BUILD = os.path.abspath(sys.argv[1] if len(sys.argv) > 1 else 'build')
SHOTS = os.path.join(BUILD, 'screenshots')
HOSTILE = '<img src=x onerror=alert(1)>'
ARTIST = 'Cantora Demo Ensemble'
ALBUM = 'Tone Studies'
# The steps that play need the stream CGI; without it they are skipped (and
# say so), the others still run.
needs_stream = unittest.skipUnless(os.path.exists(os.path.join(BUILD, 'bin', 'stream.cgi')),
                                   'stream.cgi is not built')


class PlayerTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        os.makedirs(SHOTS, exist_ok=True)
        cls.demo = Demo(os.path.join(BUILD, 'browser-demo'), BUILD)
        try:
            cls.browser = Browser()
        except Exception:
            cls.demo.stop()
            raise
        cls.d = cls.browser.driver

    @classmethod
    def tearDownClass(cls):
        try:
            cls.browser.quit()
        finally:
            cls.demo.stop()

    # ---- helpers ----

    def shot(self, name):
        self.browser.js('document.getElementById("toast").classList.remove("show")')
        time.sleep(0.25)
        self.d.save_screenshot(os.path.join(SHOTS, f'{name}.png'))

    def go(self, hash_):
        self.d.execute_script('location.hash = arguments[0]', hash_)

    def wait_view(self, what, css, seconds=15):
        return self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, css), seconds, what)

    def audio(self):
        return self.browser.js('const a = document.getElementById("audio");'
                               'return {t: a.currentTime, paused: a.paused, src: a.currentSrc,'
                               ' error: a.error && a.error.code}')

    def assert_plays(self, what):
        """The audio element's time advances past a second and keeps going."""
        def advanced(_):
            a = self.audio()
            self.assertIsNone(a['error'], f'{what}: media error {a["error"]}')
            return a['t'] > 1.0
        self.browser.wait(advanced, 20, f'{what}: the time of the audio element did not advance')
        t1 = self.audio()['t']
        time.sleep(0.8)
        self.assertGreater(self.audio()['t'], t1, f'{what}: playback stopped')

    def stream_answers(self):
        return [r for r in self.browser.network() if '/cgi-bin/stream.cgi' in r['url']]

    def no_horizontal_scroll(self, where):
        widths = self.browser.js('return [document.documentElement.scrollWidth, document.body.scrollWidth,'
                                 ' window.innerWidth]')
        self.assertLessEqual(max(widths[0], widths[1]), widths[2],
                             f'{where}: the page scrolls sideways ({widths})')

    def play_row(self, title):
        row = self.browser.wait(
            lambda d: [b for b in d.find_elements(By.CSS_SELECTOR, 'li.song .song-main')
                       if b.find_element(By.CSS_SELECTOR, '.song-title').text == title],
            15, f'song row {title}')[0]
        # Out of the way of the fixed player bar.
        self.browser.js('arguments[0].scrollIntoView({block: "center"})', row)
        row.click()
        self.browser.wait(lambda d: d.find_element(By.ID, 'now-title').text == title, 10, f'now playing {title}')

    # ---- steps ----

    def test_01_page_is_confined(self):
        with urllib.request.urlopen(self.demo.base) as r:
            csp = r.headers['Content-Security-Policy'] or ''
            body = r.read().decode()
        self.assertIn("script-src 'self'", csp)
        self.assertIn("style-src 'self'", csp)
        self.assertIn("default-src 'none'", csp)
        self.assertNotIn('unsafe-inline', csp)
        self.assertNotIn('http', body.replace('http-equiv', ''), 'the page names another machine')

    def test_02_sign_in(self):
        sign_in(self.browser, self.demo.base, lang='de')
        self.wait_view('album grid', '.grid .card')
        self.browser.wait(lambda d: len(d.find_elements(By.CSS_SELECTOR, '.cover.loaded')) > 0, 15, 'covers load')
        self.shot('albums')
        # The colours follow the system's choice of a dark or light scheme.
        light = self.browser.js('return getComputedStyle(document.body).backgroundColor')
        self.d.execute_cdp_cmd('Emulation.setEmulatedMedia',
                               {'features': [{'name': 'prefers-color-scheme', 'value': 'dark'}]})
        self.assertNotEqual(self.browser.js('return getComputedStyle(document.body).backgroundColor'), light)
        self.shot('albums-dark')
        self.d.execute_cdp_cmd('Emulation.setEmulatedMedia', {'features': []})

    def test_03_artist_album(self):
        self.go('#/artists')
        link = self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, f'a[aria-label="Artist {ARTIST}"]'),
                                 15, 'artist link')[0]
        link.click()
        card = self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, f'a[aria-label="Album {ALBUM}"]'),
                                 15, 'album of the artist')[0]
        self.shot('artist')
        card.click()
        self.browser.wait(lambda d: len(d.find_elements(By.CSS_SELECTOR, 'li.song')) == 8, 15, 'the 8 songs')
        self.assertEqual(self.d.find_element(By.CSS_SELECTOR, '.list-head h1').text, ALBUM)

    def test_04_hostile_title_is_text(self):
        titles = [e.text for e in self.d.find_elements(By.CSS_SELECTOR, '.song-title')]
        self.assertIn(HOSTILE, titles)
        self.assertEqual(self.browser.js('return document.querySelectorAll(\'img[src="x"]\').length'), 0)
        self.play_row(HOSTILE)
        self.assertEqual(self.d.find_element(By.ID, 'now-title').text, HOSTILE)
        with self.assertRaises(NoAlertPresentException):
            self.d.switch_to.alert.text  # noqa: B018
        self.shot('album')

    @needs_stream
    def test_05_play_a_song(self):
        self.play_row('Morning Arpeggio')
        self.assert_plays('mp3')
        answers = [r for r in self.stream_answers() if r['status'] == 206]
        self.assertTrue(answers, f'no stream answered 206: {self.stream_answers()}')
        self.assertTrue(any(r['headers'].get('content-range', '').startswith('bytes ') for r in answers))
        self.shot('playing')

    @needs_stream
    def test_06_lyrics_follow_the_song(self):
        self.d.find_element(By.ID, 'btn-lyrics').click()
        current = self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, '#lyrics-body p.lrc.current'),
                                    15, 'a highlighted line')[0]
        self.assertTrue(current.text)
        self.assertEqual(current.get_attribute('aria-current'), 'true')
        first = current.text
        # The lines are 4 s apart: the next one takes over as the song plays.
        self.browser.wait(lambda d: d.find_element(By.CSS_SELECTOR, '#lyrics-body p.lrc.current').text != first,
                          10, 'the highlight moves on')
        self.shot('lyrics')
        self.d.find_element(By.ID, 'btn-lyrics').click()

    @needs_stream
    def test_07_seek_by_keyboard(self):
        before = self.audio()['t']
        self.d.find_element(By.TAG_NAME, 'body').send_keys(Keys.ARROW_RIGHT)
        self.browser.wait(lambda d: self.audio()['t'] >= before + 8, 10, 'seek forward by 10 s')
        self.d.find_element(By.TAG_NAME, 'body').send_keys(' ')
        self.browser.wait(lambda d: self.audio()['paused'], 5, 'space pauses')
        self.assertEqual(self.d.find_element(By.ID, 'btn-play').get_attribute('aria-label'), 'Play')
        self.d.find_element(By.TAG_NAME, 'body').send_keys(' ')
        self.browser.wait(lambda d: not self.audio()['paused'], 5, 'space plays')

    @needs_stream
    def test_08_transcoded_song_plays(self):
        self.go(f'#/album?name={ALBUM.replace(" ", "%20")}')
        self.play_row('Old Tape')
        self.assert_plays('aiff')
        src = self.audio()['src']
        answers = [r for r in self.stream_answers() if r['url'] == src]
        self.assertTrue(answers, 'the AIFF stream was not seen')
        kind = answers[-1]['headers'].get('content-type', '')
        self.assertTrue(kind.startswith('audio/') and 'aiff' not in kind, f'sent as {kind}, not transcoded')

    def test_09_search(self):
        box = self.d.find_element(By.ID, 'search')
        box.click()
        box.send_keys('arpegg')
        self.browser.wait(lambda d: 'Morning Arpeggio' in [e.text for e in d.find_elements(By.CSS_SELECTOR, '.song-title')],
                          15, 'search result')
        self.shot('search')
        Select(self.d.find_element(By.ID, 'search-category')).select_by_value('album')
        self.browser.wait(lambda d: 'cat=album' in d.current_url, 10, 'category')
        self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, '.empty'), 15, 'no album holds the text')
        # Reloaded, the address shows the same search.
        self.d.refresh()
        self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, '.empty'), 15, 'the search again')
        self.assertEqual(self.d.find_element(By.ID, 'search').get_attribute('value'), 'arpegg')

    def test_10_save_queue_as_playlist(self):
        self.go(f'#/album?name={ALBUM.replace(" ", "%20")}')
        self.browser.wait(lambda d: len(d.find_elements(By.CSS_SELECTOR, 'li.song')) == 8, 15, 'album')
        self.d.find_element(By.CSS_SELECTOR, f'button[aria-label="Add album {ALBUM} to the queue"]').click()
        self.go('#/queue')
        name = f'Browser saved {int(time.time())}'
        field = self.browser.wait(lambda d: d.find_elements(By.ID, 'save-name'), 10, 'save form')[0]
        field.send_keys(name)
        Select(self.d.find_element(By.ID, 'save-where')).select_by_value('yes')
        self.shot('queue')
        self.d.find_element(By.CSS_SELECTOR, 'form.save button[type="submit"]').click()
        self.browser.wait(lambda d: 'Saved the playlist' in d.find_element(By.ID, 'toast').text, 10, 'saved')
        self.go('#/playlists')
        link = self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, f'a[aria-label="Playlist {name}"]'),
                                 10, 'the saved playlist is listed')[0]
        # The random playlist is named in the language chosen at sign-in.
        self.assertTrue(self.d.find_elements(By.CSS_SELECTOR, 'a[aria-label="Playlist Zufällige 100"]'))
        self.shot('playlists')
        link.click()
        self.browser.wait(lambda d: len(d.find_elements(By.CSS_SELECTOR, 'li.song')) >= 8, 10, 'its songs')

    def test_11_folders_and_radio(self):
        Select(self.d.find_element(By.ID, 'library')).select_by_value('all')
        self.go('#/folders')
        home = self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, 'a[aria-label="Folder demo (home)"]'),
                                 15, 'the personal root in the "all" view')[0]
        self.shot('folders')
        home.click()
        self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, 'a[aria-label="Folder Home Recordings"]'),
                          15, 'a folder of the personal library')
        Select(self.d.find_element(By.ID, 'library')).select_by_value('shared')
        self.go('#/radio?id=inetradio_favorite')
        stations = self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, 'li.song .song-main'), 15, 'stations')
        self.assertTrue(stations[0].get_attribute('aria-label').startswith('Play station '))
        self.shot('radio')

    def test_12_every_control_is_named(self):
        unnamed = self.browser.js("""
          return [...document.querySelectorAll('button, a[href], input, select')]
            .filter((e) => e.offsetParent !== null || e.id === 'audio')
            .filter((e) => !(e.getAttribute('aria-label') || (e.labels && e.labels.length) || e.textContent.trim()))
            .map((e) => e.outerHTML.slice(0, 80));""")
        self.assertEqual(unnamed, [])

    def test_13_phone_screen(self):
        self.browser.viewport(360, 740, mobile=True)
        try:
            for hash_, shot in [('#/albums', 'phone-albums'), (f'#/album?name={ALBUM.replace(" ", "%20")}', 'phone-album'),
                                ('#/queue', 'phone-queue'), ('#/playlists', None), ('#/radio?id=inetradio_favorite', None)]:
                self.go(hash_)
                self.browser.wait(lambda d: not d.find_elements(By.CSS_SELECTOR, '.loading'), 15, hash_)
                time.sleep(0.3)
                self.no_horizontal_scroll(hash_)
                if shot:
                    self.shot(shot)
            self.d.find_element(By.ID, 'btn-lyrics').click()
            self.browser.wait(lambda d: d.find_elements(By.CSS_SELECTOR, '#lyrics-body p'), 10, 'lyrics')
            self.no_horizontal_scroll('lyrics')
            self.shot('phone-lyrics')
            self.d.find_element(By.ID, 'btn-lyrics').click()
        finally:
            self.d.execute_cdp_cmd('Emulation.clearDeviceMetricsOverride', {})

    def test_14_sign_out(self):
        self.d.find_element(By.ID, 'signout').click()
        self.browser.wait(lambda d: d.find_element(By.ID, 'signin').is_displayed(), 10, 'the sign-in form')
        self.d.refresh()
        self.browser.wait(lambda d: d.find_element(By.ID, 'signin').is_displayed(), 10, 'signed out for good')
        self.shot('signin')


if __name__ == '__main__':
    unittest.main(argv=[sys.argv[0], '-v'], failfast=True)
