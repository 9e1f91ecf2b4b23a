// An archive of files as they are (stored), for a folder's worth of frames.

const crcTable = Uint32Array.from({ length: 256 }, (_, byte) => {
  for (let bit = 0; bit < 8; ++bit) byte = byte & 1 ? (byte >>> 1) ^ 0xedb88320 : byte >>> 1;
  return byte;
});

function crc32(bytes: Uint8Array): number {
  let crc = ~0;
  for (const byte of bytes) crc = (crc >>> 8) ^ crcTable[(crc ^ byte) & 255]!;
  return ~crc >>> 0;
}

/** Little-endian numbers: pairs of a size in bytes and a value. */
function numbers(...pairs: [2 | 4, number][]): Uint8Array<ArrayBuffer> {
  const bytes = pairs.flatMap(([size, value]) =>
    Array.from({ length: size }, (_, i) => Math.floor(value / 256 ** i) & 255));
  return Uint8Array.from(bytes);
}

export interface ZipEntry { name: string; bytes: Uint8Array<ArrayBuffer> }

/** PKWARE's APPNOTE; names are UTF-8, and every file is of the first day that it knows. */
export function zip(entries: readonly ZipEntry[]): Blob {
  const parts: Uint8Array<ArrayBuffer>[] = [];
  const directory: Uint8Array<ArrayBuffer>[] = [];
  let offset = 0;
  for (const { name, bytes } of entries) {
    const path = new TextEncoder().encode(name);
    const common = numbers([2, 20], [2, 0x800], [2, 0], [2, 0], [2, 33], [4, crc32(bytes)],
                           [4, bytes.length], [4, bytes.length], [2, path.length], [2, 0]);
    parts.push(numbers([4, 0x04034b50]), common, path, bytes);
    directory.push(numbers([4, 0x02014b50], [2, 20]), common,
                   numbers([2, 0], [2, 0], [2, 0], [4, 0], [4, offset]), path);
    offset += 4 + common.length + path.length + bytes.length;
  }
  const size = directory.reduce((sum, part) => sum + part.length, 0);
  const end = numbers([4, 0x06054b50], [2, 0], [2, 0], [2, entries.length], [2, entries.length],
                      [4, size], [4, offset], [2, 0]);
  return new Blob([...parts, ...directory, end], { type: "application/zip" });
}
