"""Tests of output_sizes.py: each breaks one thing in a small header or table."""

import unittest

import output_sizes

HEADER = """/**
 * @brief Other.
 */
VELM_SOF_API uint32_t SOF_Other(
    void);

/**
 * @brief Signs.
 *
 * A null pOut stores 1024 plus uInDataLen: 1,536 bytes, and 1.25 times uInDataLen, are always enough.
 */
VELM_SOF_API uint32_t SOF_Sign(
    const uint8_t* pIn, uint32_t uInDataLen);
"""
PAGE = """| functions | size query | always enough |
|---|---|---|
| `SOF_Sign` | 1,024 + `uInDataLen` | 1536 and 1.25 times `uInDataLen` |
"""


class OutputSizes(unittest.TestCase):
    def expect(self, *faults, header=HEADER, page=PAGE):
        self.assertEqual(list(output_sizes.check(header, "page", page)), list(faults))

    def test_matching_table(self):
        self.expect()

    def test_different_number(self):
        self.expect("page: 2048 is not in the description of SOF_Sign",
                    page=PAGE.replace("1,024", "2,048"))
        self.expect("page: 1536 is not in the description of SOF_Sign",
                    header=HEADER.replace("1,536", "3,072"))
        self.expect("page: 1.25 is not in the description of SOF_Sign",
                    header=HEADER.replace("1.25", "1.5"))

    def test_different_argument(self):
        self.expect("page: uOutLen is not in the description of SOF_Sign",
                    page=PAGE.replace("`uInDataLen` | 15", "`uOutLen` | 15"))

    def test_number_of_another_function(self):
        self.expect("page: 1.25 is not in the description of SOF_Other",
                    "page: 1024 is not in the description of SOF_Other",
                    "page: 1536 is not in the description of SOF_Other",
                    "page: uInDataLen is not in the description of SOF_Other",
                    page=PAGE.replace("`SOF_Sign`", "`SOF_Other`"))

    def test_unknown_function(self):
        self.expect("page: SOF_Seal is not in the header", page=PAGE.replace("`SOF_Sign`", "`SOF_Seal`"))

    def test_no_table(self):
        self.expect("page: has no table of sizes", page="")


if __name__ == "__main__":
    unittest.main()
