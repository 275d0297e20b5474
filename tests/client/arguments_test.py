"""What the client makes of the operator's words: the three numbers that are sent, or a refusal."""
import unittest

from fixture import NO_LOG, ClientTest

FORMS = {
    # as typed: what the process receives
    "DUMP": "dump 0x0 0x0 0x0",
    "ckall detail verbose": "ckall 0x1 0x1 0x0",
    "walk leaves nodes": "walk 0x1 0x1 0x0",
    "walk record": "walk 0xb 0x0 0x0",
    "bankbitmap 3": "bankbitmap 0x3 0x0 0x0",
    "bankbitmap 3 node 0": "bankbitmap 0x3 0x0 0x1",
    "bankbitmap 3 node 4095": "bankbitmap 0x3 0xfff 0x1",
    "hwidxr 0x01020003": "hwidxr 0x1020003 0x0 0x0",
    "hwidxr 0x01020003 parent children": "hwidxr 0x1020003 0xb 0x0",
    "hwidxwalk dump from 0x7f00": "hwidxwalk 0xb 0x7f00 0x0",
    "hwidxwalk stale": "hwidxwalk 0x1 0x0 0x0",
    "regr32 0x40e0 npu 2": "regr32 0x40e0 0x2 0x0",
    "regw32 0x40e0 7 npu 10": "regw32 0x40e0 0x7 0xa",
    "memr 0x7f00 64 force": "memr 0x7f00 0x40 0x1",
    "memw8 0x7f00 0xff": "memw8 0x7f00 0xff 0x0",
    "memw32 0x7f00 0xdeadbeef force": "memw32 0x7f00 0xdeadbeef 0x1",
    "v4 10.1.2.0/24 detail 3 vrf 5": "v4 0xa010200 0xbd0 0x5",
    "v4 0x0A010200 3024 5": "v4 0xa010200 0xbd0 0x5",
    "v4hw 255.255.255.255": "v4hw 0xffffffff 0x20 0x0",
    "cklkupv4": "cklkupv4 0x0 0x0 0x0",
    "cklkupv4 10.1.2.3/32 vrf 65535": "cklkupv4 0xa010203 0x20 0xffff",
    "v6 2001:db8::/32 vrf 5": "v6 0x20010db800000000 0x0 0x13a8",
    "v6hw ::1": "v6hw 0x0 0x1 0x80",
    "cklkupv6 2001:db8::1/128 vrf 65535": "cklkupv6 0x20010db800000000 0x1 0x3e7fc98",
    "addv4 10.1.2.0/24": "addv4 0xa010200 0x18 0x0",
    "delv4 0.0.0.0/0 vrf 7": "delv4 0x0 0x0 0x7",
    "addv6 2001:db8::/48 vrf 2": "addv6 0x20010db800000000 0x0 0x800",
    "delv6 ::/0": "delv6 0x0 0x0 0x0",
    "tn 0x7f00 parent chain children prefixes": "tn 0x7f00 0xf 0x0",
    "tn 0x7f00 leaves": "tn 0x7f00 0x0 0xb",
    "tnwalk 0x7f00 leaves": "tnwalk 0x7f00 0xb 0x0",
    "tnbl 0x7f00": "tnbl 0x7f00 0x0 0x0",
    "cntpfx from 0x7f00": "cntpfx 0x7f00 0x0 0x0",
    "setbmsf 0x7f00 24": "setbmsf 0x7f00 0x18 0x0",
    "ckbank detail": "ckbank 0x1 0x0 0x0",
    "ckhmask from 0x7f00": "ckhmask 0x7f00 0x0 0x0",
    "cklkup verbose from 0x7f00": "cklkup 0x7f00 0x1 0x0",
    "showla 0xffffffffffffffff force": "showla 0xffffffffffffffff 0x1 0x0",
    "-h": "-h 0x0 0x0 0x0",
    "WAL le nod": "walk 0x1 0x1 0x0",
    "regw 0x40e0 7 n 10": "regw32 0x40e0 0x7 0xa",
    "v4 10.1.2.0/24 v 5 d 3": "v4 0xa010200 0xbd0 0x5",
    "bankb 3 no 0": "bankbitmap 0x3 0x0 0x1",
    "v6 0 0 65535128": "v6 0x0 0x0 0x3e7fc98",
    "--raw memw8 1 0x100": "memw8 0x1 0x100 0x0",
    "--raw frobnicate 18446744073709551615": "frobnicate 0xffffffffffffffff 0x0 0x0",
}

REFUSALS = {
    # as typed: what the message must quote
    "wlak": "'wlak' is no command; did you mean 'walk'?",
    "dump 1 2 3 4": "'4' is one number too many",
    "dump 12x": "'12x' does not fit",
    "dump -1": "'-1' does not fit; numbers are not negative",
    "v4 10.1.2.0/24 vrf -1": "'-1' is out of range for 'vrf': 0 to 65535",
    "v4 10.1.2.0/24 vrf 65536": "'65536' is out of range for 'vrf': 0 to 65535",
    "v4 10.1.2.0/24 vrf 18446744073709551616": "is out of range for 'vrf'",
    "ban": "'ban' is no command; it begins banks, banksum, bankbitmap;",
    "tn 0x7f00 p": "'p' does not fit; it begins parent, prefixes;",
    "dump 18446744073709551616": "'18446744073709551616' does not fit",
    "dump 0x": "'0x' does not fit",
    "v4 10.1.2.0/33": "'10.1.2.0/33': length 33 is beyond the 32 bits of IPv4",
    "v6 2001:db8::/129": "length 129 is beyond the 128 bits of IPv6",
    "v4 10.1.2/24": "'10.1.2/24' is no prefix",
    "v4 10.1.2.0/": "'' is no prefix length",
    "v4 10.1.2.0/x": "'x' is no prefix length",
    "v4 2001:db8::/32": "is an IPv6 prefix, and v4 takes IPv4",
    "v6 10.0.0.0/8": "is an IPv4 prefix, and v6 takes IPv6",
    "dump 10.0.0.0/8": "dump takes no prefix",
    "v4 10.1.2.0/24 vfr 5": "'vfr' does not fit; did you mean 'vrf'?",
    "v4 10.1.2.0/24 vrf": "'vrf' needs a value",
    "v4 10.1.2.0/24 vrf five": "'five' is no number for 'vrf'",
    "v4 10.1.2.0/24 vrf 1 vrf 2": "'vrf' is there twice",
    "v4 10.1.2.0/24 5": "'5' is one number too many",
    "v4 0x0A010200 24 5 vrf 6": "'vrf' sets a3, which is already given",
    "v4 5 10.1.2.0/24": "the prefix comes first",
    "walk leaves record": "'record' and 'leaves' exclude each other",
    "addv4": "PREFIX is missing",
    "cklkupv4 vrf 5": "PREFIX is missing",
    "-t 0 dump": "'0' is no SEC",
    "addv4 10": "LENGTH is missing",
    "memr 0x7f00": "SIZE is missing",
    "regr32 1 npu 11": "'11' is out of range for 'npu': 0 to 10",
    "regr32 1 11": "'11' is too large for NPU: at most 10",
    "regr32 0x10000": "'0x10000' is too large for OFFSET: at most 65535 (0xffff)",
    "regw32 1 0x100000000": "'0x100000000' is too large for VALUE: at most 4294967295 (0xffffffff)",
    "memw8 0x7f00 0x100": "'0x100' is too large for VALUE: at most 255 (0xff)",
    "setbmsf 0x7f00 256": "'256' is too large for BMSF",
    "hwidxr 0x100000000": "'0x100000000' is too large for INDEX",
    "bankbitmap 3 4096 1": "'4096' is too large for NODE",
    "addv4 0x100000000 24": "'0x100000000' is too large for ADDRESS",
    "addv4 0x0a000000 33": "'33' is too large for LENGTH: at most 32",
    "v4 0x0a000000 1033": "'1033' is too large for 1000*DETAIL+LENGTH: its length, 33, at most 32",
    "v4 0x0a000000 4000": "'4000' is too large for 1000*DETAIL+LENGTH: at most 1000*3",
    "v4hw 0x0a000000 8 65536": "'65536' is too large for VRF",
    "v6 0 0 65536128": "'65536128' is too large for 1000*VRF+LENGTH: at most 1000*65535",
    "tn 0x7f00 leaves children": "'children' and 'leaves' exclude each other",
    "tn 7f00": "'7f00' does not fit; hexadecimal numbers begin with 0x",
    "v4 10.0.0.0/0x8": "'0x8' is no prefix length",
    "10.1.2.0/24": "did you mean 'v4 10.1.2.0/24'?",
    "-r 2 -f -": "standard input cannot be read again",
    "--timeout": "'--timeout' needs SEC",
    "--timeout soon dump": "'soon' is no SEC",
    "-t -1 dump": "'-1' is no SEC",
    "--tiemout 5 dump": "'--tiemout' is no option; did you mean '--timeout'?",
    "--raw dump x": "'x' is no number",
    "help wlak": "did you mean 'walk'?",
}


class Arguments(ClientTest):
    def test_natural_forms_send_exactly_their_numbers(self):
        self.start()
        for typed, received in FORMS.items():
            with self.subTest(typed):
                status, _, errors = self.client(*typed.split())
                self.assertEqual((status, "example" in errors), (0, typed == "cklkupv4"))
                self.assertTrue(typed == "cklkupv4" or errors in ("", NO_LOG), errors)
                self.assertEqual(self.requests()[-1], received)
        self.assertEqual(len(self.requests()), len(FORMS))

    def test_wrong_usage_quotes_the_word_and_sends_nothing(self):
        self.start()
        for typed, message in REFUSALS.items():
            with self.subTest(typed):
                status, output, errors = self.client(*typed.split())
                self.assertEqual((status, output), (2, ""))
                self.assertIn(message, errors)
        self.assertEqual(self.requests(), [])

    def test_host_bits_are_sent_as_typed_with_a_note(self):
        self.start()
        for typed, sent in (("10.1.2.3/24", "v4 0xa010203 0x18 0x0"),
                            ("10.1.2.3/0", "v4 0xa010203 0x0 0x0")):
            status, _, errors = self.client("v4", typed)
            self.assertEqual(status, 0)
            self.assertIn(f"'{typed}' has bits set beyond its length", errors)
            self.assertEqual(self.requests()[-1], sent)
        for typed in ("2001:db8::1/127", "2001:db8:8000::/32"):
            self.assertIn("beyond its length", self.client("v6", typed)[2])
        self.assertEqual(self.client("v6", "2001:db8:8000::/33")[2], "")

    def test_help_needs_no_process(self):
        for words in (["help", "v4"], ["v4", "--help"], ["--help", "v4"], ["v4", "10.0.0.0/8", "--help"]):
            self.assertIn("PREFIX [vrf N] [detail N]", self.client(*words)[1])
        self.assertIn("runs all checks", self.client("hea", "--help")[1])
        self.assertEqual(self.client("--help")[0], 0)
        self.assertIn("'wlak' is no command", self.client("wlak", "--help")[2])


if __name__ == "__main__":
    unittest.main()
