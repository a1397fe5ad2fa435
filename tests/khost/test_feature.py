"""feature: declared, learnt and unknown features."""

import json

import host


class Feature(host.HostTest):
    def test_learnt_and_unknown(self):
        result = self.khost("-D", "on=true", "-D", "off=false", "-D", "odd=False", "-D", "empty=", "feature", "on", "off",
                            "odd", "empty", "unset")
        self.assert_done(result, "on enabled\noff disabled\nodd enabled\nempty disabled\nunset disabled\n")

    def test_declared(self):
        result = self.khost("-D", "x=off", "-D", "y=yes", "feature", "x", "y", "plain", "wanted", "other", "never", "--declare",
                            "x", "--declare", "y::y:4", "--declare", "plain:key", "--declare", "wanted:::4", "--declare",
                            "other:key:x", "--declare", "never::x:0x2")
        self.assert_done(result, "x disabled\ny enabled\nplain enabled\nwanted disabled\nother disabled\nnever enabled\n")

    def test_json_tells_the_kind(self):
        result = self.khost("-D", "learnt=1", "-D", "declared=0", "-D", "empty=", "feature", "declared", "learnt", "unknown",
                            "empty", "--declare", "declared", "--json")
        self.assert_done(result)
        self.assertEqual(json.loads(result.text), [{"name": "declared", "enabled": False, "kind": "declared"},
                                                   {"name": "learnt", "enabled": True, "kind": "learnt"},
                                                   {"name": "unknown", "enabled": False, "kind": "unknown"},
                                                   {"name": "empty", "enabled": False, "kind": "unknown"}])

    def test_unknown_is_logged_once(self):
        result = self.khost("--log-level", "debug", "feature", "gone", "gone")
        self.assertEqual(result.text, "gone disabled\ngone disabled\n")
        self.assertEqual(result.errors, "DEBUG kos:kfw: Unknown feature 'gone' considered disabled.\n")

    def test_set_flags(self):
        result = self.khost("-D", "on=no", "feature", "on", "--declare", "on", "--set-flags", "2")
        self.assert_done(result, "on enabled\n")
        result = self.khost("feature", "on", "--declare", "on", "--set-flags", "0x4")
        self.assert_done(result, "on disabled\n")
        result = self.khost("feature", "unknown", "declared", "--declare", "declared", "--set-flags", "2")
        self.assertEqual((result.status, result.text), (1, "declared enabled\n"))
        self.assertEqual(result.errors.splitlines()[-1],
                         'khost: feature: 0x80000103 E_INTERNAL internal inconsistency: "unknown"')
        self.assertIn("mApp5 != 0", result.errors)

    def test_failures(self):
        result = self.khost("feature", "a", "--declare", "a", "--declare", "a")
        self.assertEqual((result.status, result.text), (1, ""))
        self.assertIn("tIter == mFeatures.end()", result.errors)
        self.assertEqual(result.errors.splitlines()[-1],
                         'khost: feature: 0x80000100 E_WRONG_STATE operation called in the wrong state: --declare "a"')
        result = self.khost("feature", "")
        self.assertEqual(result.status, 1)
        self.assertIn("!tName.empty()", result.errors)

    def test_properties_in_rising_precedence(self):
        self.write("app/properties.ini", b"file = false\nenv = false\noption = false\n")
        env = self.environment(KHOST_PROP_env="true", KHOST_PROP_option="false")
        result = self.khost("-D", "option=true", "feature", "file", "env", "option", env=env)
        self.assert_done(result, "file disabled\nenv enabled\noption enabled\n")

    def test_usage(self):
        self.assert_usage(self.khost("feature"), "NAME")
        self.assert_usage(self.khost("feature", "a", "--set-flags", "some"), '"some" is not a number')
        for wrong in ("a:b:c:x", "a:b:c:1:d", "a:b:c:99999999999"):
            self.assert_usage(self.khost("feature", "a", "--declare", wrong), "NAME[:KEY[:OPTION[:FLAGS]]]")
