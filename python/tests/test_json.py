import collections.abc
import copy
import errno
import gc
import math
import os
import pickle
import random
import tempfile
import unittest
import weakref

import numpy as np

import core

TREE = {"a": [1, {"b": "ö"}, [], 2.5], "c": None, "d": {"e": True, "f": -7}, "g": 2**64 - 1}


class Trees(unittest.TestCase):
    def test_are_mappings_and_sequences(self):
        tree = core.JsonObject(TREE)
        self.assertIsInstance(tree, collections.abc.MutableMapping)
        self.assertIsInstance(tree["a"], collections.abc.MutableSequence)
        self.assertEqual(tree.to_python(), TREE)
        self.assertEqual(tree, TREE)
        self.assertEqual(list(tree.items())[0][1], TREE["a"])
        self.assertEqual(tree["a"][::-2], [2.5, tree["a"][1]])
        self.assertEqual(eval(repr(tree)), tree)
        for copied in (copy.copy(tree), copy.deepcopy(tree), pickle.loads(pickle.dumps(tree))):
            self.assertEqual(copied, tree)
            copied["a"].clear()
            self.assertEqual(tree, TREE)

    def test_behave_as_lists_and_dicts_do(self):
        """Random edits of a tree and of Python's own, with references held into both."""
        rng = random.Random(7)

        def value(depth):
            kind = rng.randrange(5 if depth else 2)
            if kind < 3:
                return rng.choice([None, True, 3, 0.5, "x"])
            if kind == 3:
                return [value(depth - 1) for _ in range(rng.randrange(4))]
            return {name: value(depth - 1) for name in rng.sample("abcd", rng.randrange(4))}

        for _ in range(150):
            plain = {"a": value(3), "b": value(3)}
            held = [(core.JsonObject(plain), plain)]
            for _ in range(30):
                tree, model = rng.choice(held)
                isDict = isinstance(model, dict)
                keys = list(model) if isDict else list(range(len(model)))
                step = rng.randrange(6)
                if step == 0 and isDict:
                    key, new = rng.choice("abcd"), value(2)
                    tree[key], model[key] = new, copy.deepcopy(new)
                elif step == 0:
                    at, new = rng.randrange(-5, 6), value(2)
                    tree.insert(at, new)
                    model.insert(at, copy.deepcopy(new))
                elif step == 1 and keys:
                    key, new = rng.choice(keys), value(2)
                    tree[key], model[key] = new, copy.deepcopy(new)
                elif step == 2 and keys:
                    key = rng.choice(keys)
                    self.assertEqual(tree.pop(key), model.pop(key))
                elif step == 3 and not isDict:
                    cut = slice(rng.randrange(-4, 4), rng.randrange(-4, 4), rng.choice([-2, -1, 1, 2]))
                    del tree[cut], model[cut]
                elif step == 4 and rng.randrange(4) == 0:
                    tree.clear()
                    model.clear()
                elif keys:
                    key = rng.choice(keys)
                    if isinstance(model[key], (dict, list)):
                        held.append((tree[key], model[key]))
                for tree, model in held:
                    self.assertEqual(tree.to_python(), model)

    def test_keep_their_document_alive_and_no_longer(self):
        gc.disable()
        self.addCleanup(gc.enable)
        inner = core.parse_json('{"a": [{"b": "text"}]}')["a"][0]
        self.assertEqual(inner, {"b": "text"})
        inner.set("/c/-", 1)
        self.assertEqual(inner.find("/c/0"), 1)
        tree = core.JsonObject({"a": []})
        tree["a"].append(tree)
        tree["b"] = tree["a"]
        self.assertEqual(tree, {"a": [{"a": []}], "b": [{"a": []}]})
        gone = weakref.ref(tree)
        del tree
        self.assertIsNone(gone())

    def test_bad_input_changes_nothing(self):
        tree = core.JsonObject(TREE)
        loop = []
        loop.append(loop)
        for error, refused in [
            (TypeError, lambda: tree.__setitem__("a", object())),
            (TypeError, lambda: tree.__setitem__("a", [1, {2: 3}])),
            (TypeError, lambda: tree.__setitem__("a", b"bytes")),
            (TypeError, lambda: tree.__setitem__(1, 2)),
            (ValueError, lambda: tree.__setitem__("a", 2**64)),
            (ValueError, lambda: tree.__setitem__("a", -(2**63) - 1)),
            (ValueError, lambda: tree.__setitem__("a", "x\0y")),
            (ValueError, lambda: tree.__setitem__("a", "\ud800")),
            (RecursionError, lambda: tree.__setitem__("a", loop)),
            (KeyError, lambda: tree["z"]),
            (KeyError, lambda: tree.__delitem__("z")),
            (IndexError, lambda: tree["a"][4]),
            (IndexError, lambda: tree["a"].__delitem__(-5)),
            (TypeError, lambda: tree["a"]["b"]),
            (ValueError, lambda: tree.set("no pointer", 1)),
            (ValueError, lambda: tree.set("/g/x", 1)),
            (TypeError, lambda: tree.set("/new/place", object())),
            (TypeError, lambda: hash(tree)),
        ]:
            with self.assertRaises(error):
                refused()
            self.assertEqual(tree, TREE)
        self.assertNotEqual(tree, [1])
        self.assertNotEqual(tree, {"a": object()})
        self.assertNotIn(3, tree)

    def test_numpy_values(self):
        tree = core.JsonArray([np.float32(0.5), np.int64(3), np.bool_(True), np.arange(4).reshape(2, 2)])
        self.assertEqual(tree.to_python(), [0.5, 3, True, [[0, 1], [2, 3]]])


class Texts(unittest.TestCase):
    def test_come_back(self):
        text = core.write_json(TREE, pretty=True)
        self.assertEqual(core.parse_json(text), TREE)
        self.assertEqual(core.parse_json(text.encode()), TREE)
        self.assertEqual(core.unpack(core.pack(TREE)), TREE)
        self.assertEqual([core.parse_json("1e1"), core.parse_json("null")], [10.0, None])
        self.assertEqual(core.parse_json(b'["\xff"]', any_bytes=True)[0], "\udcff")
        deep = core.unpack(b"\x91" * 900 + b"\xc0")
        self.assertEqual(pickle.loads(pickle.dumps(deep)), deep)

    def test_faults_have_a_place_and_a_reason(self):
        with self.assertRaises(core.JsonError) as caught:
            core.parse_json('{"a":\n [1,]}')
        error = pickle.loads(pickle.dumps(caught.exception))
        self.assertEqual((error.line, error.column, error.offset), (2, 5, 10))
        self.assertTrue(error.reason and error.reason in str(error))
        with self.assertRaises(core.JsonError) as caught:
            core.write_json({"a": [1, math.nan]})
        self.assertEqual(caught.exception.pointer, "/a/1")
        self.assertEqual(core.write_json([math.nan], nan_as_null=True), "[null]")
        with self.assertRaises(core.PackError) as caught:
            core.unpack(b"\x92\x01\xc1")
        self.assertEqual((caught.exception.offset, caught.exception.item), (2, 2))
        for refused in ('[1e400]', '[18446744073709551616]', '["\0"]', "[01]", '["\udcff"]', ""):
            with self.assertRaises(core.JsonError):
                core.parse_json(refused)
        self.assertEqual(core.parse_json("[18446744073709551616]", overflow="double"), [2.0**64])
        self.assertEqual(core.parse_json("[01]", wide=True), [1])
        with self.assertRaisesRegex(ValueError, "'refuse', 'skip', 'keep'"):
            core.unpack(b"\xc0", binary="drop")

    def test_files(self):
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, "snäil 🐌.json")
            core.save_json(path, TREE)
            self.assertEqual(core.parse_json_file(path), TREE)
            with self.assertRaises(core.JsonError):
                core.save_json(path, math.inf)
            self.assertEqual(core.parse_json_file(path), TREE)
            with self.assertRaises(FileNotFoundError) as caught:
                core.parse_json_file(path + "x")
            self.assertEqual(caught.exception.errno, errno.ENOENT)
            with self.assertRaises(OSError):
                core.save_json(os.path.join(path, "below"), TREE)


unittest.main()
