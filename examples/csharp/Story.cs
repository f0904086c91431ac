// Logs in, signs a text, verifies the signature, and encrypts and decrypts a file with a digital envelope.
using System;
using System.IO;
using System.Linq;
using System.Runtime.InteropServices;
using System.Text;

// The functions that this example uses. Container names and paths are passed as NUL-terminated UTF-8.
static class Sof {
  const string Library = "velm_sof_client";

  [DllImport(Library)] public static extern uint SOF_Initialize();
  [DllImport(Library)] public static extern uint SOF_Finalize();
  [DllImport(Library)] public static extern uint SOF_Login(byte[] container, byte[] pin);
  [DllImport(Library)] public static extern uint SOF_Ext_Logout(byte[] container, uint loginType);
  [DllImport(Library)] public static extern uint SOF_ExportUserCert(
      byte[] container, [Out] byte[] certificate, ref uint certificateLength);
  [DllImport(Library)] public static extern uint SOF_ExportExChangeUserCert(
      byte[] container, [Out] byte[] certificate, ref uint certificateLength);
  [DllImport(Library)] public static extern uint SOF_SignData(
      byte[] container, byte[] data, uint dataLength, [Out] byte[] signature, ref uint signatureLength);
  [DllImport(Library)] public static extern uint SOF_VerifySignedData(
      byte[] certificate, uint certificateLength, byte[] data, uint dataLength, byte[] signature,
      uint signatureLength);
  [DllImport(Library)] public static extern uint SOF_EncryptFile(
      byte[] certificate, uint certificateLength, byte[] input, byte[] output);
  [DllImport(Library)] public static extern uint SOF_DecryptFile(
      byte[] container, byte[] input, byte[] output);
  [DllImport(Library)] public static extern void SOF_Ext_GetErrInfo(uint code, [Out] byte[] text);
}

class SofException : Exception {
  public SofException(string function, uint code)
      : base(string.Format("{0}: 0x{1:X8} {2}", function, code, Text(code))) {}

  static string Text(uint code) {
#if NETCOREAPP
    Encoding.RegisterProvider(CodePagesEncodingProvider.Instance);
#endif
    var text = new byte[64];
    Sof.SOF_Ext_GetErrInfo(code, text);
    return Encoding.GetEncoding(936).GetString(text).TrimEnd('\0');
  }
}

static class Story {
  // A container of the software token's demo store and its PIN.
  static readonly byte[] Container = Zero("SM2_DEMO");
  static readonly byte[] Pin = Zero("12345678");

  static readonly byte[] Text = Encoding.UTF8.GetBytes("a contract worth signing");
  const string File = "story.txt";
  const string Envelope = "story.txt.p7m";
  const string Opened = "story.opened.txt";

  delegate uint Writer(byte[] buffer, ref uint length);

  static byte[] Zero(string text) { return Encoding.UTF8.GetBytes(text + "\0"); }

  static void Check(string function, uint code) {
    if (code != 0) throw new SofException(function, code);
  }

  // Returns the output of a function. 3,072 bytes are always enough for a certificate or a signature.
  static byte[] Output(string function, Writer write) {
    var buffer = new byte[3072];
    var length = (uint)buffer.Length;
    Check(function, write(buffer, ref length));
    return buffer.Take((int)length).ToArray();
  }

  static void SignAndVerify() {
    var length = (uint)Text.Length;
    var signature = Output("SOF_SignData", (byte[] buffer, ref uint written) =>
        Sof.SOF_SignData(Container, Text, length, buffer, ref written));
    Console.WriteLine("signed");

    var certificate = Output("SOF_ExportUserCert", (byte[] buffer, ref uint written) =>
        Sof.SOF_ExportUserCert(Container, buffer, ref written));
    Check("SOF_VerifySignedData", Sof.SOF_VerifySignedData(
        certificate, (uint)certificate.Length, Text, length, signature, (uint)signature.Length));
    Console.WriteLine("verified");
  }

  static void EncryptAndDecrypt() {
    System.IO.File.WriteAllBytes(File, Text);
    var certificate = Output("SOF_ExportExChangeUserCert", (byte[] buffer, ref uint written) =>
        Sof.SOF_ExportExChangeUserCert(Container, buffer, ref written));
    Check("SOF_EncryptFile", Sof.SOF_EncryptFile(
        certificate, (uint)certificate.Length, Zero(File), Zero(Envelope)));
    Console.WriteLine("encrypted");

    Check("SOF_DecryptFile", Sof.SOF_DecryptFile(Container, Zero(Envelope), Zero(Opened)));
    var same = System.IO.File.ReadAllBytes(Opened).SequenceEqual(Text);
    Console.WriteLine("decrypted: " + (same ? "the same text" : "ANOTHER TEXT"));
  }

  static int Main() {
    try {
      Check("SOF_Initialize", Sof.SOF_Initialize());
      Check("SOF_Login", Sof.SOF_Login(Container, Pin));
      Console.WriteLine("logged in");

      SignAndVerify();
      EncryptAndDecrypt();

      Check("SOF_Ext_Logout", Sof.SOF_Ext_Logout(Container, 0));
      Console.WriteLine("logged out");
      Check("SOF_Finalize", Sof.SOF_Finalize());
      return 0;
    } catch (SofException error) {
      Console.Error.WriteLine(error.Message);
      return 1;
    }
  }
}
