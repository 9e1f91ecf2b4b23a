/** The statuses of the library that an `OxelError` can have. */
export type StatusName =
  | "OXEL_BAD_PACKAGE_LENGTH"
  | "OXEL_BAD_PACKAGE_CRC"
  | "OXEL_UNUSABLE_TABLES"
  | "OXEL_NOT_INITIALISED"
  | "OXEL_OUT_OF_MEMORY"
  | "OXEL_BAD_SELECTOR"
  | "OXEL_NOT_SIX_COLOURS"
  | "OXEL_BAD_ARGUMENT";

const statuses: Record<number, [StatusName, string]> = {
  3: ["OXEL_BAD_PACKAGE_LENGTH", "not a LUT package: its length is not the one that it states"],
  4: ["OXEL_BAD_PACKAGE_CRC", "not a LUT package, or a damaged one: its CRC-32 does not match"],
  5: ["OXEL_UNUSABLE_TABLES", "unusable LUT package: a table is missing or incomplete"],
  6: ["OXEL_NOT_INITIALISED", "the panel has been disposed of"],
  12: ["OXEL_OUT_OF_MEMORY", "out of memory"],
  13: ["OXEL_BAD_SELECTOR", "an option is none of its values"],
  14: ["OXEL_NOT_SIX_COLOURS", "nominal colours need a panel of six"],
  15: ["OXEL_BAD_ARGUMENT", "the picture's size is not supported"],
};

/** What the library refused: `status` is its number and `code` its name. */
export class OxelError extends Error {
  override readonly name = "OxelError";
  readonly code: StatusName;

  constructor(readonly status: number, message?: string) {
    const [code, words] = statuses[status] ?? statuses[15]!;
    super(message ?? words);
    this.code = code;
  }
}

/** What is wrong with a panel description, a frame or a panel's name. */
export class PanelError extends Error {
  override readonly name = "PanelError";
}

export function check(status: number): void {
  if (status !== 0) throw new OxelError(status);
}

/** The place of `value` in `values`, or an error that says which there are. */
export function choose(what: string, value: string, values: readonly string[]): number {
  const place = values.indexOf(value);
  if (place < 0)
    throw new OxelError(13, `${what} ${JSON.stringify(value)}: must be one of ${values.join(", ")}`);
  return place;
}
