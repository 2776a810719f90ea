// Elements of the page. Texts of a recording are always text nodes or attributes, never markup.

export function element<Name extends keyof HTMLElementTagNameMap>(
    name: Name,
    attributes: Record<string, string> = {},
    ...content: (Node | string)[]
): HTMLElementTagNameMap[Name] {
    const made = document.createElement(name);
    for (const [key, value] of Object.entries(attributes)) made.setAttribute(key, value);
    made.append(...content);
    return made;
}

export function setText(target: Element, text: string): void {
    if (target.textContent !== text) target.textContent = text;
}
