// esbuild bundles styles.
declare module "*.css";
