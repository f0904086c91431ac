"""Logs in, signs a text, verifies the signature, and encrypts and decrypts a file with a digital envelope."""

import ctypes
import sys
from ctypes import POINTER, byref, c_char_p, c_uint32, create_string_buffer
from pathlib import Path

# A container of the software token's demo store and its PIN.
CONTAINER = b"SM2_DEMO"
PIN = b"12345678"

TEXT = b"a contract worth signing"
FILE, ENVELOPE, OPENED = Path("story.txt"), Path("story.txt.p7m"), Path("story.opened.txt")

# ctypes treats text and bytes alike as char pointers: bytes for input, a string buffer for output.
BYTES, LENGTH, OUT_LENGTH = c_char_p, c_uint32, POINTER(c_uint32)
PROTOTYPES = {
    "SOF_Initialize": [],
    "SOF_Finalize": [],
    "SOF_Login": [c_char_p, c_char_p],
    "SOF_Ext_Logout": [c_char_p, c_uint32],
    "SOF_ExportUserCert": [c_char_p, BYTES, OUT_LENGTH],
    "SOF_ExportExChangeUserCert": [c_char_p, BYTES, OUT_LENGTH],
    "SOF_SignData": [c_char_p, BYTES, LENGTH, BYTES, OUT_LENGTH],
    "SOF_VerifySignedData": [BYTES, LENGTH, BYTES, LENGTH, BYTES, LENGTH],
    "SOF_EncryptFile": [BYTES, LENGTH, c_char_p, c_char_p],
    "SOF_DecryptFile": [c_char_p, c_char_p, c_char_p],
}


class SofError(Exception):
    """A failed call with its function, result code and text."""

    def __init__(self, function, code, text):
        super().__init__(f"{function}: 0x{code:08X} {text}")
        self.code = code


class Sof:
    """The library in the bin folder of a package. The result code of each call is checked."""

    def __init__(self, folder):
        # Loaded by its full path, so that the modules in the same folder are found.
        library = ctypes.CDLL(str(Path(folder).resolve() / "velm_sof_client.dll"))
        for name, parameters in PROTOTYPES.items():
            function = getattr(library, name)
            function.argtypes, function.restype = parameters, c_uint32
            function.errcheck = self._check
            setattr(self, name, function)
        self._error_text = library.SOF_Ext_GetErrInfo
        self._error_text.argtypes, self._error_text.restype = [c_uint32, BYTES], None

    def _check(self, code, function, _arguments):
        if code != 0:
            text = create_string_buffer(64)
            self._error_text(code, text)
            raise SofError(function.__name__, code, text.value.decode("gbk"))

    @staticmethod
    def output(function, *arguments):
        """Returns the output of a function whose last two parameters are a buffer and its length. 3,072
        bytes are always enough for a certificate or a signature."""
        buffer, length = create_string_buffer(3072), c_uint32(3072)
        function(*arguments, buffer, byref(length))
        return buffer.raw[:length.value]


def sign_and_verify(sof):
    signature = sof.output(sof.SOF_SignData, CONTAINER, TEXT, len(TEXT))
    print("signed")

    certificate = sof.output(sof.SOF_ExportUserCert, CONTAINER)
    sof.SOF_VerifySignedData(certificate, len(certificate), TEXT, len(TEXT), signature, len(signature))
    print("verified")


def encrypt_and_decrypt(sof):
    FILE.write_bytes(TEXT)
    certificate = sof.output(sof.SOF_ExportExChangeUserCert, CONTAINER)
    sof.SOF_EncryptFile(certificate, len(certificate), bytes(FILE), bytes(ENVELOPE))
    print("encrypted")

    sof.SOF_DecryptFile(CONTAINER, bytes(ENVELOPE), bytes(OPENED))
    print("decrypted:", "the same text" if OPENED.read_bytes() == TEXT else "ANOTHER TEXT")


def main(folder="bin"):
    sof = Sof(folder)
    sof.SOF_Initialize()
    sof.SOF_Login(CONTAINER, PIN)
    print("logged in")

    sign_and_verify(sof)
    encrypt_and_decrypt(sof)

    sof.SOF_Ext_Logout(CONTAINER, 0)
    print("logged out")
    sof.SOF_Finalize()


if __name__ == "__main__":
    try:
        main(*sys.argv[1:])
    except SofError as error:
        sys.exit(str(error))
