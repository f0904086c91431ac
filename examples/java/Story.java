// Logs in, signs a text, verifies the signature, and encrypts and decrypts a file with a digital envelope.
import com.sun.jna.Library;
import com.sun.jna.Native;
import com.sun.jna.ptr.IntByReference;
import java.io.IOException;
import java.nio.charset.Charset;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.nio.file.Path;
import java.util.Arrays;
import java.util.Map;

public final class Story {
  /** The functions that this example uses. A result code is an unsigned 32-bit number. */
  interface Sof extends Library {
    int SOF_Initialize();
    int SOF_Finalize();
    int SOF_Login(String container, String pin);
    int SOF_Ext_Logout(String container, int loginType);
    int SOF_ExportUserCert(String container, byte[] certificate, IntByReference certificateLength);
    int SOF_ExportExChangeUserCert(String container, byte[] certificate, IntByReference certificateLength);
    int SOF_SignData(String container, byte[] data, int dataLength, byte[] signature,
                     IntByReference signatureLength);
    int SOF_VerifySignedData(byte[] certificate, int certificateLength, byte[] data, int dataLength,
                             byte[] signature, int signatureLength);
    int SOF_EncryptFile(byte[] certificate, int certificateLength, String input, String output);
    int SOF_DecryptFile(String container, String input, String output);
    void SOF_Ext_GetErrInfo(int code, byte[] text);
  }

  static final class SofException extends RuntimeException {
    SofException(String function, int code) {
      super(String.format("%s: 0x%08X %s", function, code, text(code)));
    }

    static String text(int code) {
      byte[] text = new byte[64];
      SOF.SOF_Ext_GetErrInfo(code, text);
      return new String(text, Charset.forName("GBK")).replace("\0", "");
    }
  }

  interface Writer {
    int write(byte[] buffer, IntByReference length);
  }

  static final Sof SOF =
      Native.load("velm_sof_client", Sof.class, Map.of(Library.OPTION_STRING_ENCODING, "UTF-8"));

  // A container of the software token's demo store and its PIN.
  static final String CONTAINER = "SM2_DEMO";
  static final String PIN = "12345678";

  static final byte[] TEXT = "a contract worth signing".getBytes(StandardCharsets.UTF_8);
  static final String FILE = "story.txt";
  static final String ENVELOPE = "story.txt.p7m";
  static final String OPENED = "story.opened.txt";

  static void check(String function, int code) {
    if (code != 0) throw new SofException(function, code);
  }

  /** Returns the output of a function. 3,072 bytes are always enough for a certificate or a signature. */
  static byte[] output(String function, Writer writer) {
    byte[] buffer = new byte[3072];
    IntByReference length = new IntByReference(buffer.length);
    check(function, writer.write(buffer, length));
    return Arrays.copyOf(buffer, length.getValue());
  }

  static void signAndVerify() {
    byte[] signature = output("SOF_SignData",
        (buffer, length) -> SOF.SOF_SignData(CONTAINER, TEXT, TEXT.length, buffer, length));
    System.out.println("signed");

    byte[] certificate = output("SOF_ExportUserCert",
        (buffer, length) -> SOF.SOF_ExportUserCert(CONTAINER, buffer, length));
    check("SOF_VerifySignedData", SOF.SOF_VerifySignedData(
        certificate, certificate.length, TEXT, TEXT.length, signature, signature.length));
    System.out.println("verified");
  }

  static void encryptAndDecrypt() throws IOException {
    Files.write(Path.of(FILE), TEXT);
    byte[] certificate = output("SOF_ExportExChangeUserCert",
        (buffer, length) -> SOF.SOF_ExportExChangeUserCert(CONTAINER, buffer, length));
    check("SOF_EncryptFile", SOF.SOF_EncryptFile(certificate, certificate.length, FILE, ENVELOPE));
    System.out.println("encrypted");

    check("SOF_DecryptFile", SOF.SOF_DecryptFile(CONTAINER, ENVELOPE, OPENED));
    boolean same = Arrays.equals(Files.readAllBytes(Path.of(OPENED)), TEXT);
    System.out.println("decrypted: " + (same ? "the same text" : "ANOTHER TEXT"));
  }

  public static void main(String[] arguments) throws IOException {
    try {
      check("SOF_Initialize", SOF.SOF_Initialize());
      check("SOF_Login", SOF.SOF_Login(CONTAINER, PIN));
      System.out.println("logged in");

      signAndVerify();
      encryptAndDecrypt();

      check("SOF_Ext_Logout", SOF.SOF_Ext_Logout(CONTAINER, 0));
      System.out.println("logged out");
      check("SOF_Finalize", SOF.SOF_Finalize());
    } catch (SofException error) {
      System.err.println(error.getMessage());
      System.exit(1);
    }
  }
}
