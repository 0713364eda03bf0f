// The calculator shows itself: one touch after the other, slowly enough to watch. For a terminal
// without a person in front of it, asked for by the property "demo".

const kPauseMs = 350;

const kTouches = [
  '[data-key="4"]',
  '[data-key="2"]',
  '[data-key="5"]',
  '[data-key="0"]',
  '#entry-done',
  '#choices label:nth-child(4)',
  '#more',
  '#more',
  '#segments label:nth-child(3)',
  '#charge',
];

const pause = () => new Promise((resolve) => setTimeout(resolve, kPauseMs));

/** Touches what a guest would; what the page does not show just now, a guest could not touch. */
export async function playDemo() {
  for (const touch of kTouches) {
    const control = document.querySelector(touch);
    if (!control.checkVisibility()) continue;
    await pause();
    control.click();
  }
}
