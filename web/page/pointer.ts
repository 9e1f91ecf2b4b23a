// Fingers, mice and keys on the large picture: the loupe, and the crop.
export interface PointerActions {
  /** In parts of the picture's width and height. */
  move(x: number, y: number): void;
  zoom(factor: number): void;
  settle(): void;
  cropping(): boolean;
}

const loupe = document.getElementById("loupe") as HTMLCanvasElement;
const magnification = 4;

function showLoupe(stage: HTMLElement, source: HTMLCanvasElement, x: number, y: number): void {
  const pixels = loupe.width / magnification;
  const context = loupe.getContext("2d")!;
  context.imageSmoothingEnabled = false;
  context.fillStyle = "#888";
  context.fillRect(0, 0, loupe.width, loupe.height);
  context.drawImage(source, Math.round(x * source.width - pixels / 2),
                    Math.round(y * source.height - pixels / 2), pixels, pixels, 0, 0, loupe.width,
                    loupe.height);
  loupe.style.setProperty("left", `${x * stage.clientWidth - loupe.width / 2}px`);
  loupe.style.setProperty("top", `${y * stage.clientHeight - loupe.height / 2}px`);
  loupe.hidden = false;
}

export function watchPointers(stage: HTMLElement, shown: () => HTMLCanvasElement,
                              actions: PointerActions): { refresh(): void } {
  const pointers = new Map<number, { x: number; y: number }>();
  let place = { x: 0.5, y: 0.5 };
  const spread = () => {
    const [a, b] = [...pointers.values()];
    return a && b ? Math.hypot(a.x - b.x, a.y - b.y) : 0;
  };
  const look = (event: PointerEvent) => {
    const box = stage.getBoundingClientRect();
    place = { x: (event.clientX - box.left) / box.width, y: (event.clientY - box.top) / box.height };
    showLoupe(stage, shown(), place.x, place.y);
  };

  stage.addEventListener("pointerdown", (event) => {
    stage.setPointerCapture(event.pointerId);
    pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    if (!actions.cropping()) look(event);
  });
  stage.addEventListener("pointermove", (event) => {
    if (!actions.cropping()) return look(event);
    const before = pointers.get(event.pointerId);
    if (!before) return;
    const distance = spread();
    const share = 1 / pointers.size;
    pointers.set(event.pointerId, { x: event.clientX, y: event.clientY });
    if (distance > 0) actions.zoom(spread() / distance);
    actions.move((share * (event.clientX - before.x)) / stage.clientWidth,
                 (share * (event.clientY - before.y)) / stage.clientHeight);
  });
  const release = (event: PointerEvent) => {
    if (pointers.delete(event.pointerId) && actions.cropping()) actions.settle();
    if (event.pointerType !== "mouse") loupe.hidden = true;
  };
  stage.addEventListener("pointerup", release);
  stage.addEventListener("pointercancel", release);
  stage.addEventListener("pointerleave", () => (loupe.hidden = true));
  stage.addEventListener("blur", () => (loupe.hidden = true));
  stage.addEventListener("wheel", (event) => {
    if (!actions.cropping()) return;
    event.preventDefault();
    actions.zoom(Math.exp(-event.deltaY / 500));
    actions.settle();
  }, { passive: false });
  stage.addEventListener("keydown", (event) => {
    const steps: Record<string, [number, number]> = {
      ArrowLeft: [-1, 0], ArrowRight: [1, 0], ArrowUp: [0, -1], ArrowDown: [0, 1] };
    const step = steps[event.key];
    if (step && actions.cropping()) actions.move(step[0] * -0.02, step[1] * -0.02);
    else if (step) {
      const keep = (value: number) => Math.min(Math.max(value, 0), 1);
      place = { x: keep(place.x + step[0] * 0.02), y: keep(place.y + step[1] * 0.02) };
      showLoupe(stage, shown(), place.x, place.y);
    } else if (event.key === "+" || event.key === "=") actions.zoom(1.1);
    else if (event.key === "-") actions.zoom(1 / 1.1);
    else if (event.key === "Escape") loupe.hidden = true;
    else return;
    event.preventDefault();
    if (!step || actions.cropping()) actions.settle();
  });
  return { refresh: () => { if (!loupe.hidden) showLoupe(stage, shown(), place.x, place.y); } };
}
