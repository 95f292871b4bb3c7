#pragma once

#include <cstddef>
#include <cstdint>

#include "vantrel/base/Export.h"

namespace vantrel {

/// AES-128 (FIPS 197) block by block, without chaining and without padding (the mode called ECB), and the
/// checksum of a STUN message. vantrel/codec/Aes128.h has the cipher over spans, free of state.
///
/// Equal blocks encrypt to equal blocks and nothing tells an altered message: it is for protocols that ask
/// for it, or as the block cipher within a mode of the caller's. The processor's AES instructions are used
/// where it has them; where it lacks them, look-ups in tables take their place, whose duration depends on the
/// data.
///
///   std::array<std::uint8_t, 32> block{};  // 20 bytes of message, and zeros
///   assert(AESx::shared().Dcs_EnCodeSrc_Des_Lenghts_Key(block.data(), block.data(), 20, key) == 32);
///
/// Threads: the key, the round keys, the state and the current blocks belong to the whole process, so one
/// call of the cipher at a time: the caller serialises them. `shared` and `ns_crc32Buffer_Lenght` may be
/// called from any thread at any time. Ownership: buffers stay the caller's, and are looked at during the
/// call only.
class VANTREL_EXPORT AESx {
 public:
  AESx(const AESx&) = delete;
  AESx& operator=(const AESx&) = delete;

  static constexpr int Nr = 10;  ///< rounds
  static constexpr int Nk = 4;   ///< 32-bit words of a key

  /// The one instance, made when it is first asked for.
  static AESx& shared();

  /// Copies the 16 bytes to `Key`, for the single blocks that follow.
  void Dcs_SetKey(const std::uint8_t* key);

  /// Encrypts or decrypts one block of 16 bytes with `Key`; both pointers may be the same.
  void Dcs_AESEnCodeIn_Out(const std::uint8_t* in, std::uint8_t* out);
  void Dcs_AESDeCodeIn_Out(const std::uint8_t* in, std::uint8_t* out);

  /// Sets the key of 16 bytes and encrypts `length` bytes, one block after the other. The last block is
  /// encrypted whole: a source and a destination of the length rounded up to 16 are asked for, and what
  /// stands in the source behind `length` counts. Gives the rounded length, modulo 2^32; 0 bytes set the key
  /// and give 0.
  /// `src` and `des` may be the same. Where they overlap, each block is read after those before it were
  /// written.
  std::uint32_t Dcs_EnCodeSrc_Des_Lenghts_Key(const std::uint8_t* src, std::uint8_t* des,
                                              std::uint32_t length, const std::uint8_t* key);

  /// Sets the key and decrypts the whole blocks among `length` bytes. A shorter rest is neither decrypted nor
  /// copied. Overlaps as above.
  void Dcs_DeCodeSrc_Des_Lengths_Key(const std::uint8_t* src, std::uint8_t* des, std::uint32_t length,
                                     const std::uint8_t* key);

  /// The CRC-32 of zlib and Ethernet (ISO-HDLC) XOR 0x5354554E, which is the FINGERPRINT of a STUN message
  /// (RFC 5389, 15.5). No bytes give 0x5354554E, and the pointer may then be null.
  /// "123456789" -> 0x98A06C68
  std::uint32_t ns_crc32Buffer_Lenght(const std::uint8_t* bytes, std::uint32_t length);

  /// The steps of FIPS 197, on the arrays below. A cipher of one block: `Key` and `In` filled,
  /// `KeyExpansion`, `Cipher`; its result is in `Out`.
  void KeyExpansion();          ///< `Key` to `RoundKey`
  void Cipher();                ///< `In` to `Out` by way of `state`
  void InvCipher();             ///< likewise, backwards
  void AddRoundKey(int round);  ///< rounds 0 to 10; another changes nothing
  void SubBytes();
  void InvSubBytes();
  void ShiftRows();
  void InvShiftRows();
  void MixColumns();
  void InvMixColumns();

  /// An entry of the S-box or of its inverse for an index of 0 to 255; -1 for another.
  int getSBoxValue(int index);
  int getSBoxInvert(int index);

  /// What the operations work on. After a call they hold what the last block left: its bytes, its result, the
  /// same as a state of rows and columns, and its round keys.
  static std::uint8_t Key[16];
  static std::uint8_t RoundKey[176];  ///< 11 round keys; byte r + 4c of each meets state[r][c]
  static std::uint8_t state[4][4];    ///< byte r + 4c of a block is at [r][c]
  static std::uint8_t In[16];
  static std::uint8_t Out[16];

 private:
  using Blocks = void (*)(const std::uint8_t* key, std::uint8_t* schedule, std::uint8_t (&state)[4][4],
                          const std::uint8_t* from, std::uint8_t* to, std::size_t blocks);

  AESx() = default;

  void oneBlock(Blocks cipher, const std::uint8_t* in, std::uint8_t* out);
  void eachBlock(Blocks cipher, const std::uint8_t* src, std::uint8_t* des, std::size_t blocks);
};

}  // namespace vantrel
