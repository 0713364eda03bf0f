// Reading what the application was handed: its configuration document (confApp.json, which arrives as
// the property wz_confApp) and the host's parameters (wz_parameters). Both are JSON texts that somebody
// wrote by hand, so a member is taken only if it makes sense, and what was wrong is collected as
// sentences for the log.

export const isCount = (value) => Number.isSafeInteger(value) && value > 0;
export const isText = (value) => typeof value === 'string' && value.trim() !== '';
export const isLocale = (value) => isText(value) && isAccepted(() => new Intl.NumberFormat(value));
export const isCurrency = (value) =>
  isText(value) && isAccepted(() => new Intl.NumberFormat('en', { style: 'currency', currency: value }));

function isAccepted(attempt) {
  try {
    attempt();
    return true;
  } catch {
    return false;
  }
}

/** The object in a JSON text; an empty one when there is no text (undefined) or none that can be used. */
export function readObject(text, name, problems) {
  if (text === undefined) return {};
  try {
    const value = JSON.parse(text);
    if (value !== null && typeof value === 'object' && !Array.isArray(value)) return value;
  } catch {
    // Told below, together with texts that are JSON but no object.
  }
  problems.push(`${name} is not a JSON object`);
  return {};
}

/**
 * The members of `object` that pass their check, and the defaults for the others. Members that nobody
 * asked for are left out.
 * @param {Record<string, {otherwise: any, check: (value: any) => boolean}>} wanted
 */
export function takeMembers(object, name, wanted, problems) {
  const taken = {};
  for (const [key, { otherwise, check }] of Object.entries(wanted)) {
    const usable = Object.hasOwn(object, key) && check(object[key]);
    if (!usable && Object.hasOwn(object, key)) problems.push(`${name}: "${key}" is not usable`);
    taken[key] = usable ? object[key] : otherwise;
  }
  return taken;
}
