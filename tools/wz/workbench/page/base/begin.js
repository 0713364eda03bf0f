// Asks the workbench for what there is while the rest of the page is still on its way.

import { connection } from './store.js';

connection.open();
